// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/notify.h"

namespace tessel {

class RequestInfo;
struct SessionEnd;

/// The headless client's standard output: one line for each notification, in one of two fixed forms.
///
/// Text: "EVENT" or "EVENT: what it says", where what is not printable is escaped (libs/base/printable.h).
/// JSON: one object with "event" and, where the event has them, "type" or "status" or "code" (numbers), "name" and
/// "text". Only in this form the end of the session is a line of its own, before the notification that ends it.
namespace eventline {

enum class Form { Text, Json };

/// The status in words, as both forms and a service manager have it.
const char* nameOf(ClientStatus status);

String dispatch(Form form, ClientType type);
String status(Form form, ClientStatus status);
String vpn(Form form, const String& line);
String connectError(Form form, const RequestInfo& request);
String fatalError(Form form, const String& text);
/// How the session ended: "event" is "end", "wanted" whether somebody wanted it so, "kind" and "cause" the account's
/// fixed words, "text" a sentence, and each further fact that the account has under its own name.
String end(const SessionEnd& end);

}  // namespace eventline
}  // namespace tessel
