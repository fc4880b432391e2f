// SPDX-License-Identifier: Apache-2.0
// What the client makes of what a component's process says, which may be anything.

#include "apps/nebrixclient/componentanswer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <vector>

#include "tests/support/systemlogcapture.h"

namespace tessel::test {
namespace {

MessageWriter message(MessageKind kind, std::initializer_list<const char*> texts, int number = 0) {
    MessageWriter writer(kind);
    writer.number(number);
    for (const char* const text : texts) {
        writer.text(String(text));
    }
    return writer;
}

/// What becomes of these messages, in words; `more` bytes are sent behind them.
std::string taken(const std::vector<MessageWriter>& messages, const std::string& more = "") {
    auto [ours, theirs] = Channel::makePair(SOCK_STREAM);
    const int room = 1 << 20;
    ::setsockopt(theirs.get(), SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    for (const MessageWriter& each : messages) {
        (void)!::send(theirs.get(), each.bytes().data(), each.bytes().size(), MSG_DONTWAIT);
    }
    (void)!::send(theirs.get(), more.data(), more.size(), MSG_DONTWAIT);
    theirs.close();
    Channel host(std::move(ours), Channel::Attachments::Refused);
    String entry;
    try {
        const ComponentAnswer answer = readComponentAnswer(host, entry);
        return std::to_string(answer.number) + " " + answer.text.str();
    } catch (const ComponentException& caught) {
        return std::string("raised ") + caught.what();
    } catch (const Exception& caught) {
        return std::string(caught.getMessage().view()) + " " + std::string(caught.facts().subject.view());
    }
}

TEST(ComponentAnswer, isTakenOnlyWhenItKeepsToTheProtocol) {
    using enum MessageKind;
    const MessageWriter line = message(Log, {"ModuleLoader", "m", "text"}, static_cast<int>(LogCategory::Error));
    MessageWriter words(Raised);
    words.text("of the zoo");
    MessageWriter running(Running);
    running.text(String::copy(std::string(kLongestEntry + 1, 'x')));
    MessageWriter tooLong(Returned);
    tooLong.number(0).text(String::copy(std::string(kLongestComponentText + 2, 'x')));
    const std::pair<std::string, std::string> cases[] = {
        {taken({line, message(Returned, {"[]"}, 7)}), "7 []"},
        {taken({words}), "raised of the zoo"},
        {taken({message(Refused, {"DllStop2", "why"}, 1)}), "EModuleLoader DllStop2"},
        {taken({message(Refused, {"", ""}, 4)}), "EProtocol "},
        {taken({message(Returned, {"[]", "more"})}), "EProtocol "},
        {taken({message(Log, {"a", "b", "c"}, kLogCategories)}), "EProtocol "},
        {taken({message(GetErrors, {})}), "EProtocol "},
        {taken({running}), "EProtocol "},
        {taken({tooLong}), "EProtocol "},
        {taken(std::vector<MessageWriter>(kMostMessagesPerCall, line)), "EProtocol "},
        {taken({}, std::string("\xff\xff\xff\xff\x42\0\0\0", 8)), "EProtocol "},
        {taken({}, "cut"), "EProtocol "},
        {taken({line}), "EChannel "}};
    int number = 0;
    for (const auto& [came, expected] : cases) {
        EXPECT_EQ(came, expected) << "case " << number;
        ++number;
    }
}

TEST(ComponentAnswer, hasNoLogLinesThatPassForTheClients) {
    nebrix::test::SystemLogCapture log;
    (void)taken({message(MessageKind::Log, {"NebrixClient", "attempt", "Session ended: the user ended it"}, 2)});
    EXPECT_TRUE(log.contains("ERROR Component.attempt Session ended"));
    EXPECT_FALSE(log.contains("NebrixClient"));
}

}  // namespace
}  // namespace tessel::test
