// SPDX-License-Identifier: Apache-2.0
// XML: a settings file parsed and read by key, beside pugixml; larger documents parsed, beside tinyxml2.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <string>

#include "libs/xml/keyreader.h"
#include "libs/xml/stringparser.h"

#ifdef NEBRIX_HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef NEBRIX_HAVE_TINYXML2
#include <tinyxml2.h>
#endif

namespace {

using tessel::String;

constexpr std::array<const char*, 16> kKeys = {"login",   "password", "domain",  "host",       "port",  "proxytype",
                                               "enabled", "download", "checker", "language",   "theme", "timeout",
                                               "retries", "logfile",  "window",  "lastgateway"};

/// About 1 KiB with the 16 keys among others.
const std::string& settings() {
    static const std::string text = [] {
        std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<nebrixclient version=\"3\">\r\n";
        for (const char* key : kKeys) {
            out += std::string(" <") + key + ">value of " + key + "</" + key + ">\r\n";
        }
        for (int i = 0; i < 6; ++i) {
            out += " <domains>gateway" + std::to_string(i) + ".example.org:443</domains>\r\n";
        }
        return out + "</nebrixclient>\r\n";
    }();
    return text;
}

/// Records of elements, attributes, text and comments, of about this many bytes.
std::string document(std::size_t size) {
    std::string out = "<?xml version=\"1.0\"?>\n<records>\n";
    for (unsigned i = 0; out.size() < size; ++i) {
        const std::string number = std::to_string(i);
        out += "  <record id=\"" + number + "\" kind='entry'>\n    <name>Record number " + number +
               "</name>\n    <description>Some words that describe what this record is good for, number " + number +
               "</description>\n    <!-- checked -->\n    <state enabled=\"true\"/>\n  </record>\n";
    }
    return out + "</records>\n";
}

std::size_t settingsLength() {
    std::size_t length = 0;
    for (const char* key : kKeys) {
        length += std::string("value of ").size() + std::string(key).size();
    }
    return length;
}

void check(benchmark::State& state, bool right) {
    if (!right) {
        state.SkipWithError("wrong result");
    }
}

void settingsTessel(benchmark::State& state) {
    const String text = String::copy(settings());
    const auto run = [&text] {
        const auto root = tessel::xml::StringParser::parse(text);
        tessel::xml::KeyReader reader(*root);
        std::size_t length = 0;
        for (const char* key : kKeys) {
            String value;
            reader[key].read(value);
            length += value.length();
        }
        return length;
    };
    check(state, run() == settingsLength());
    for (auto _ : state) {
        benchmark::DoNotOptimize(run());
    }
}
BENCHMARK(settingsTessel);

#ifdef NEBRIX_HAVE_PUGIXML
void settingsPugixml(benchmark::State& state) {
    const auto run = [] {
        pugi::xml_document parsed;
        parsed.load_buffer(settings().data(), settings().size());
        const pugi::xml_node root = parsed.first_child();
        std::size_t length = 0;
        for (const char* key : kKeys) {
            const std::string value = root.child(key).text().get();
            length += value.size();
        }
        return length;
    };
    check(state, run() == settingsLength());
    for (auto _ : state) {
        benchmark::DoNotOptimize(run());
    }
}
BENCHMARK(settingsPugixml);
#endif

unsigned countRecords(const tessel::xml::Element& root) {
    unsigned count = 0;
    for (const tessel::xml::Node* node = root.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        count += node->getType() == tessel::xml::Node::Type::Element ? 1 : 0;
    }
    return count;
}

void documentTessel(benchmark::State& state) {
    const std::string source = document(static_cast<std::size_t>(state.range(0)));
    const String text = String::copy(source);
    const auto records = static_cast<unsigned>(source.size() / 200);
    check(state, countRecords(*tessel::xml::StringParser::parse(text)) > records / 2);
    for (auto _ : state) {
        benchmark::DoNotOptimize(tessel::xml::StringParser::parse(text));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(source.size()));
}
BENCHMARK(documentTessel)->Arg(100 << 10)->Arg(1 << 20)->Arg(10 << 20)->Unit(benchmark::kMicrosecond);

#ifdef NEBRIX_HAVE_TINYXML2
void documentTinyxml2(benchmark::State& state) {
    const std::string source = document(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        tinyxml2::XMLDocument parsed;
        if (parsed.Parse(source.data(), source.size()) != tinyxml2::XML_SUCCESS) {
            state.SkipWithError("not parsed");
        }
        benchmark::DoNotOptimize(parsed.FirstChildElement("records"));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(source.size()));
}
BENCHMARK(documentTinyxml2)->Arg(100 << 10)->Arg(1 << 20)->Arg(10 << 20)->Unit(benchmark::kMicrosecond);
#endif

/// Inputs that lure a parser into reading the rest again and again: time for each byte must not depend on the size.
void hostileTessel(benchmark::State& state) {
    static constexpr const char* kUnits[] = {"<!--", "<!-- -- >", "<a/ x='' y='>'/>", "<a b='&quot;'/>"};
    std::string source = "<r>";
    while (source.size() < static_cast<std::size_t>(state.range(1))) {
        source += kUnits[state.range(0)];
    }
    const String text = String::copy(source);
    for (auto _ : state) {
        benchmark::DoNotOptimize(tessel::xml::StringParser::parse(text));
    }
    state.SetLabel(kUnits[state.range(0)]);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(source.size()));
}
BENCHMARK(hostileTessel)->ArgsProduct({{0, 1, 2, 3}, {256 << 10, 4 << 20}})->Unit(benchmark::kMillisecond);

}  // namespace
