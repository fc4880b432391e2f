// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "libs/base/errors.h"

namespace tessel::probe {

/// What a component's author has it given in the place of what is made up: texts by the keys of a gateway's
/// configuration. Of a key that is given more than once the texts stand one to a line.
using GivenValues = std::map<std::string, std::string>;

/// The file of such values cannot be used; the message is a sentence for the user and holds no value.
TESSEL_EXCEPTION(EGivenValues, Exception);

/// Reads a file of lines KEY=TEXT; empty lines and those that begin with "#" say nothing. Raises EGivenValues when it
/// cannot be read, or has another line or key.
GivenValues readGivenValues(const std::string& path);

}  // namespace tessel::probe
