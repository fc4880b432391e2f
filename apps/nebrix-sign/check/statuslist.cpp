// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/statuslist.h"

#include <algorithm>

#include "apps/component/plugindllinstance.h"
#include "libs/base/printable.h"
#include "libs/json/jsonerrors.h"
#include "libs/json/jsonwrapper.h"

namespace tessel::sign {

namespace {

using json::JSON;
using json::JSONWrapper;
using probe::Rule;

std::string quoted(const String& text) {
    constexpr std::size_t kMost = 120;
    std::string out = "\"";
    appendPrintable(out, text.view(), kMost);
    return out + "\"";
}

bool isNumber(const JSONWrapper& value) {
    const JSON::Type type = value.getType();
    if (type != JSON::stringValue) {
        return type == JSON::intValue || type == JSON::uintValue;
    }
    const String text = value.asString();
    return !text.empty() &&
           std::all_of(text.view().begin(), text.view().end(), [](char c) { return c >= '0' && c <= '9'; });
}

void judgeMessage(const JSONWrapper& message, const String& list, const TellFault& tell) {
    const auto broken = [&](Rule rule, const char* what) {
        tell({rule, std::string("DllGetErrors2 returned ") + quoted(list) + what});
    };
    if (message.getType() != JSON::objectValue) {
        return broken(Rule::StatusList, ", of which an element is no object");
    }
    if (!isNumber(message["code"])) {
        return broken(Rule::StatusMembers, ", in which a message has no decimal \"code\"");
    }
    const String code = message["code"].asString();
    const JSONWrapper status = message["status"];
    if (code == "5" && (status.getType() != JSON::stringValue || !isPrintable(status.asString().view()))) {
        broken(Rule::StatusMembers, ", in which a message of code 5 has no \"status\" that is one line of text");
    }
    if (code == "8" && !isNumber(message["reason"])) {
        broken(Rule::StatusMembers, ", in which a message of code 8 has no decimal \"reason\"");
    }
}

void judgeEncoding(const String& text, const char* entry, const TellFault& tell) {
    if (!isUtf8(text.view())) {
        tell({Rule::Utf8, std::string(entry) + " returned a text that is not UTF-8: " + quoted(text)});
    }
}

}  // namespace

void judgeStatusList(const String& text, const TellFault& tell) {
    if (text.length() > kLongestComponentText) {
        return tell({Rule::StatusLength, "DllGetErrors2 returned more than 1 MiB; report the present status alone"});
    }
    judgeEncoding(text, "DllGetErrors2", tell);
    try {
        const json::JSONWrapperFromString list(text);
        if (list.getType() == JSON::arrayValue) {
            for (const JSONWrapper& message : list) {
                judgeMessage(message, text, tell);
            }
            return;
        }
    } catch (const json::EJsonError&) {
        // As any other text that is no array.
    }
    tell({Rule::StatusList, "DllGetErrors2 returned " + quoted(text) +
                                ", which is no JSON array (without news it is []; quotes, backslashes and control "
                                "bytes in a text are escaped)"});
}

void judgeLog(const String& text, const TellFault& tell) {
    if (text.length() <= kLongestComponentText) {  // else a character may have been cut
        judgeEncoding(text, "DllGetLogs2", tell);
    }
}

}  // namespace tessel::sign
