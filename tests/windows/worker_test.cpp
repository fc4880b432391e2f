// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <wx/app.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>

#include "apps/nebrixclient/gui/backgroundworker.h"
#include "apps/nebrixclient/gui/filecopy.h"
#include "tests/support/temporarydirectory.h"

namespace nebrix::test {
namespace {

using gui::BackgroundWorker;
using gui::GuiCalls;

TEST(Worker, runsEverythingInOrderAlsoPastATaskThatRaises) {
    std::vector<int> done;
    {
        BackgroundWorker worker;
        worker.post([&] { done.push_back(1); });
        worker.post([] { throw std::runtime_error("expected"); });
        worker.post([&] { done.push_back(2); });
        EXPECT_TRUE(worker.finish(10000));
        EXPECT_EQ(done, (std::vector{1, 2}));
        worker.post([&] { done.push_back(3); });
    }
    EXPECT_EQ(done, (std::vector{1, 2, 3})) << "what is queued at the end is lost";
}

TEST(Worker, saysWhenItDoesNotFinishInTime) {
    std::atomic<bool> block{true};
    BackgroundWorker worker;
    worker.post([&] { block.wait(true); });
    EXPECT_FALSE(worker.finish(20));
    block = false;
    block.notify_all();
    EXPECT_TRUE(worker.finish(10000));
}

TEST(Worker, bringsNothingToAWindowThatIsGone) {
    int calls = 0;
    BackgroundWorker worker;
    auto window = std::make_unique<GuiCalls>();
    const GuiCalls::Sender sender = window->sender();
    worker.post([&] { sender.post([&] { ++calls; }); });
    ASSERT_TRUE(worker.finish(10000));
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(calls, 1);
    worker.post([&] { sender.post([&] { ++calls; }); });
    ASSERT_TRUE(worker.finish(10000));
    window.reset();
    sender.post([&] { ++calls; });
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(sender.connected());
}

TEST(FileCopy, leavesAWholeCopyOrWhatWasThere) {
    const TemporaryDirectory directory;
    const std::string source = directory.path("source");
    const std::string target = directory.path("target");
    writeFile(source, std::string(300000, 'x'));
    writeFile(target, "before");
    EXPECT_TRUE(gui::copyWholeFile(source, target));
    EXPECT_EQ(readFile(target), readFile(source));
    EXPECT_FALSE(gui::copyWholeFile(directory.path("missing"), target));
    EXPECT_FALSE(gui::copyWholeFile(source, source)) << "onto itself";
    EXPECT_FALSE(gui::copyWholeFile(source, directory.path("nowhere/target")));
    EXPECT_EQ(readFile(target).size(), 300000U);
    const std::string special = directory.path("special");
    ASSERT_EQ(::mkfifo(special.c_str(), 0600), 0);
    EXPECT_FALSE(gui::copyWholeFile(source, special));
    EXPECT_TRUE(std::filesystem::is_fifo(special)) << "only a plain file is replaced";
    std::filesystem::create_symlink("target", directory.path("link"));
    EXPECT_TRUE(gui::copyWholeFile(source, directory.path("link")));
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link")));
    EXPECT_EQ(readFile(source).size(), 300000U);
}

}  // namespace
}  // namespace nebrix::test
