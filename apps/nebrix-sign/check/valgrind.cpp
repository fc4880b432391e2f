// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/valgrind.h"

#include <array>
#include <sstream>

#include "apps/nebrix-sign/files.h"

namespace tessel::sign {

namespace {

using probe::Rule;

/// What valgrind says of one place: its words, then the functions, the innermost first.
struct Record {
    std::string words;
    std::vector<std::string> frames;
};

/// A line without "==PID== " and what the text is indented by.
std::string bare(const std::string& line) {
    const std::size_t mark = line.find("== ");
    const std::size_t begin = mark == std::string::npos ? mark : line.find_first_not_of(' ', mark + 3);
    return begin == std::string::npos ? std::string() : line.substr(begin);
}

/// "at 0x401126: function (file.c:12)" without what stands before the function; empty for any other line.
std::string frame(const std::string& line) {
    const std::size_t name = line.find(": ");
    const bool isFrame = line.starts_with("at 0x") || line.starts_with("by 0x");
    return isFrame && name != std::string::npos ? line.substr(name + 2) : std::string();
}

std::vector<Record> readRecords(const std::string& text) {
    std::vector<Record> records(1);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string words = bare(line);
        if (words.empty()) {
            records.emplace_back();
        } else if (const std::string place = frame(words); !place.empty()) {
            records.back().frames.push_back(place);
        } else if (records.back().words.empty()) {
            records.back().words = words;
        }
    }
    return records;
}

/// The functions that are the component's, as far as names tell.
std::string where(const Record& record) {
    constexpr std::size_t kMost = 3;
    std::size_t count = 0;
    std::string text;
    for (const std::string& place : record.frames) {
        const bool others = place.find("vg_replace") != std::string::npos ||
                            place.find("/libc.so") != std::string::npos || place.find("tessel::") != std::string::npos;
        if (!others && count++ < kMost) {
            text += (text.empty() ? " in " : ", called by ") + place;
        }
    }
    return text;
}

bool isLoss(const Record& record) { return record.words.find("definitely lost in loss record") != std::string::npos; }

}  // namespace

std::vector<std::string> valgrindCommand(const std::string& logFile) {
    return {"valgrind",
            "--leak-check=full",
            "--show-leak-kinds=definite",
            "--errors-for-leak-kinds=definite",
            "--child-silent-after-fork=yes",
            "--num-callers=20",
            "--log-file=" + logFile};
}

std::optional<std::vector<Fault>> readValgrindLog(const std::string& logFile) {
    const std::string text = readWhole(logFile);
    if (text.find("ERROR SUMMARY") == std::string::npos) {
        return std::nullopt;
    }
    const std::vector<Record> records = readRecords(text);
    std::array<const Record*, 2> first{};
    std::array<unsigned, 2> count{};
    for (const Record& record : records) {
        if (!record.frames.empty()) {
            const std::size_t kind = isLoss(record) ? 0 : 1;
            first[kind] = first[kind] == nullptr ? &record : first[kind];
            ++count[kind];
        }
    }
    constexpr std::array kRules{Rule::NoMemoryLeft, Rule::NoEnd};
    std::vector<Fault> faults;
    for (std::size_t kind = 0; kind < first.size(); ++kind) {
        if (first[kind] != nullptr) {
            faults.push_back(
                {kRules[kind], "valgrind: " + first[kind]->words + where(*first[kind]) +
                                   (count[kind] > 1 ? " (and " + std::to_string(count[kind] - 1) + " more)" : "")});
        }
    }
    return faults;
}

}  // namespace tessel::sign
