// SPDX-License-Identifier: Apache-2.0
#include <json/writer.h>

#include <string>

#include "libs/json/jsonwrapper.h"

namespace tessel::json {

namespace {

Json::StreamWriterBuilder oneLine() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    return builder;
}

String write(const Json::StreamWriterBuilder& builder, const JSONWrapper& json) {
    return String::copy(std::string_view(Json::writeString(builder, json.get_ref())));
}

}  // namespace

String toString(const JSONWrapper& json) {
    static const Json::StreamWriterBuilder builder;
    return write(builder, json);
}

String toLine(const JSONWrapper& json) {
    static const Json::StreamWriterBuilder builder = oneLine();
    return write(builder, json);
}

}  // namespace tessel::json
