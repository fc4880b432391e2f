// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/component/message.h"
#include "apps/component/plugindllinstance.h"

/// What client and component host say to each other; docs/formats.md has it as a table.
///
/// Two connections, each used strictly in turns. Over the first the client calls and the host answers: at its start
/// the host says Ready, and hears once what to prepare for; then each call is answered by any number of Log and Running
/// and one Returned, Raised or Refused. Over the second a component asks for a file and the client answers. Whoever
/// hears something else ends the conversation.
namespace tessel {

/// Programs of different versions do not talk.
inline constexpr std::int32_t kProtocolVersion = 2;

/// The descriptors that the host is started with.
inline constexpr int kCallsDescriptor = 3;
inline constexpr int kDownloadsDescriptor = 4;

enum class MessageKind : std::uint16_t {
    // The host's first word: version.
    Ready = 1,
    // Before a load, without an answer, so that it is done while the client judges the library: the directory that a
    // host checker may write to, nothing for a plug-in.
    Prepare = 8,
    // Calls. A load has the library attached.
    LoadPlugin = 16,  // path, version, plug-in directory
    SetProxy,         // use, type, host, login, password, domain
    Start,            // the parameters (write())
    GetErrors,
    LaunchResource = 22,  // number, name
    Stop,
    LoadHostChecker = 32,  // path
    InitHostChecker,       // directory, host name, language
    GetValidRules,         // request
    CloseHostChecker,
    // Answers.
    Log = 64,  // category, class, method, text
    Running,   // the name of the entry that is called now
    Returned,  // number, text
    Raised,    // an exception left an entry: its words
    Refused,   // which error class, its subject, its words
    // Over the second connection.
    Download = 80,  // url, path
    Downloaded,     // whether
};

/// The errors of loading a component.
enum class Refusal : std::int32_t { Loader = 1, NoInstance, File };

/// Bytes of texts by which a component could make the client do work: beyond them nothing is taken.
inline constexpr unsigned kLongestWords = 64 * 1024;
inline constexpr unsigned kLongestEntry = 256;
inline constexpr unsigned kMostMessagesPerCall = 1024;

void write(MessageWriter& writer, const PluginDllInstance::Parameters& parameters);
/// All but the download delegate. Raises EProtocol.
PluginDllInstance::Parameters readParameters(MessageReader& reader);

}  // namespace tessel
