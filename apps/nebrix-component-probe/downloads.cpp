// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/downloads.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <thread>

#include "libs/base/printable.h"

namespace tessel::probe {

namespace {

struct State {
    Report* report = nullptr;
    std::filesystem::path directory;

    std::mutex mutex;
    std::condition_variable released;
    // Guarded by mutex.
    Downloads::Answer answer = Downloads::Answer::Failed;
    std::thread::id caller;
};

State& state() {
    static auto* const made = new State;
    return *made;
}

std::string quoted(const char* text) {
    constexpr std::size_t kMost = 200;
    std::string out = "\"";
    appendPrintable(out, text, kMost);
    return out + "\"";
}

void judge(const char* url, const char* localPath) {
    Report& report = *state().report;
    report.seen(Rule::Download);
    if (url == nullptr || localPath == nullptr) {
        report.fault(Rule::Download, "the download callback was given a null pointer");
        return;
    }
    if (*url != '/' && std::string_view(url).find("://") == std::string_view::npos) {
        report.fault(Rule::Download, "the download callback was given the URL " + quoted(url) +
                                         ", which is neither absolute nor a path that begins with \"/\"");
    }
    if (*localPath != '/') {
        report.fault(Rule::Download,
                     "the download callback was given the local path " + quoted(localPath) + ", which is not absolute");
    }
}

bool deliver(const char* localPath) {
    const std::filesystem::path path = std::filesystem::path(localPath).lexically_normal();
    const std::filesystem::path inside = path.lexically_relative(state().directory);
    if (inside.empty() || *inside.begin() == "..") {
        return false;
    }
    std::filesystem::create_directories(path.parent_path());
    return static_cast<bool>(std::ofstream(path, std::ios::binary) << "a file of the check\n");
}

bool answerTo(const char* localPath) {
    std::unique_lock lock(state().mutex);
    if (state().answer == Downloads::Answer::Held && std::this_thread::get_id() != state().caller) {
        state().released.wait(lock, [] { return state().answer != Downloads::Answer::Held; });
    }
    return state().answer == Downloads::Answer::Delivered && localPath != nullptr && deliver(localPath);
}

}  // namespace

void Downloads::use(Report& report, const String& directory) {
    state().report = &report;
    state().directory = std::string(directory.view());
}

void Downloads::answer(Answer answer) {
    const std::lock_guard lock(state().mutex);
    state().answer = answer;
    state().caller = std::this_thread::get_id();
    state().released.notify_all();
}

void Downloads::release() { answer(Answer::Failed); }

bool Downloads::downloadFileTo(const char* url, const char* localPath) noexcept {
    try {
        judge(url, localPath);
        return answerTo(localPath);
    } catch (...) {
        return false;
    }
}

}  // namespace tessel::probe
