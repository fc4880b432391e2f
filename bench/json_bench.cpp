// SPDX-License-Identifier: Apache-2.0
// JSON: a client configuration of about 2 KiB parsed and 30 keys read through the typed readers, beside jsoncpp's own
// reader and accessors.

#include <benchmark/benchmark.h>
#include <json/reader.h>
#include <json/value.h>

#include <array>
#include <string>

#include "libs/json/jsonreader.h"

namespace {

using tessel::String;

constexpr std::array<const char*, 6> kTexts = {"orgname", "server", "certPassword", "login", "ticket", "sessionid"};
constexpr std::array<const char*, 4> kPlatforms = {"win32", "win64", "mac_openssl3", "linux64_openssl3"};
constexpr std::array<const char*, 5> kDownload = {"filename", "md5", "urlpath", "pattern", "version"};

const std::string& configuration() {
    static const std::string text = [] {
        std::string out = "{\n  \"success\": true, \"code\": 0,\n  \"result\": {\n    \"type\": \"plugindll\",\n";
        for (const char* key : kTexts) {
            out += std::string("    \"") + key + "\": \"the value of " + key + "\",\n";
        }
        out += "    \"pluginDlls\": {\n";
        for (const char* platform : kPlatforms) {
            out += std::string("      \"") + platform + "\": {\n";
            for (const char* key : kDownload) {
                out += std::string("        \"") + key + "\": \"/components/" + platform + "/libplugin-" + key +
                       "-8.9.0.zip\"" + (key == kDownload.back() ? "\n" : ",\n");
            }
            out += std::string("      }") + (platform == kPlatforms.back() ? "\n" : ",\n");
        }
        return out +
               "    },\n    \"sslservercertname\": [\"one.example.org\", \"two.example.org\"],\n"
               "    \"hostcheckingtimer\": 300\n  }\n}\n";
    }();
    return text;
}

std::size_t expectedLength() {
    std::size_t length = std::string("plugindllone.example.org").size() + 300;
    for (const char* key : kTexts) {
        length += std::string("the value of ").size() + std::string(key).size();
    }
    for (const char* platform : kPlatforms) {
        for (const char* key : kDownload) {
            length += (std::string("/components//libplugin--8.9.0.zip") + platform + key).size();
        }
    }
    return length;
}

void check(benchmark::State& state, std::size_t length) {
    if (length != expectedLength()) {
        state.SkipWithError(("wrong result " + std::to_string(length)).c_str());
    }
}

std::size_t readTessel(const String& text) {
    const tessel::json::JSONWrapperFromString json(text);
    tessel::IKeyReader& top = *json.getReader();
    std::size_t length = 0;
    const auto add = [&length](tessel::IKeyReader& reader) {
        String value;
        reader.read(value);
        length += value.length();
    };
    bool success = false;
    top["success"].read(success);
    tessel::IKeyReader& result = top["result"];
    add(result["type"]);
    for (const char* key : kTexts) {
        add(result[key]);
    }
    tessel::IKeyReader& files = result["pluginDlls"];
    for (const char* platform : kPlatforms) {
        tessel::IKeyReader& file = files[platform];
        for (const char* key : kDownload) {
            add(file[key]);
        }
    }
    tessel::IKeyReader& names = result["sslservercertname"];
    add(names["item"]);
    unsigned timer = 0;
    result["hostcheckingtimer"].read(timer);
    return success ? length + timer : 0;
}

std::size_t readJsoncpp(const std::string& text) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value top;
    reader.parse(text, top, true);
    std::size_t length = 0;
    const auto add = [&length](const Json::Value& value) {
        const std::string read = value.asString();
        length += read.size();
    };
    const bool success = top["success"].asBool();
    const Json::Value& result = top["result"];
    add(result["type"]);
    for (const char* key : kTexts) {
        add(result[key]);
    }
    const Json::Value& files = result["pluginDlls"];
    for (const char* platform : kPlatforms) {
        const Json::Value& file = files[platform];
        for (const char* key : kDownload) {
            add(file[key]);
        }
    }
    add(result["sslservercertname"][0]);
    const unsigned timer = result["hostcheckingtimer"].asUInt();
    return success ? length + timer : 0;
}

void configurationTessel(benchmark::State& state) {
    const String text = String::copy(configuration());
    check(state, readTessel(text));
    for (auto _ : state) {
        benchmark::DoNotOptimize(readTessel(text));
    }
    state.SetLabel(std::to_string(configuration().size()) + " bytes");
}
BENCHMARK(configurationTessel);

void configurationJsoncpp(benchmark::State& state) {
    check(state, readJsoncpp(configuration()));
    for (auto _ : state) {
        benchmark::DoNotOptimize(readJsoncpp(configuration()));
    }
}
BENCHMARK(configurationJsoncpp);

}  // namespace
