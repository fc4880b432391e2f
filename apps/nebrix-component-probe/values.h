// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "apps/component/plugindllinstance.h"
#include "apps/nebrix-component-probe/givenvalues.h"

/// What a component is given during a check.
namespace tessel::probe {

/// Everything that the entries of any kind of component take. The directories exist, or may be made, and are real.
struct Values {
    String version;
    String directory;  // ends with "/"
    Proxy proxy;
    PluginDllInstance::Parameters parameters;
    String command;
    int resourceType = 1;
    String resource;
    String language;
    String request;

    /// All texts but the directories: what a gateway can choose.
    std::vector<String*> fromGateway();
};

/// Whether a given value may have the key.
bool isGivenKey(std::string_view key) noexcept;
/// From now on these stand in the place of what is made up. Before any other function here is called.
void give(GivenValues values);

/// What a gateway of good will says, as far as nothing else is given. The server is this machine's discard port, so
/// that a tunnel that is tried goes nowhere; no certificate is named.
Values ordinaryValues(const String& directory);
/// The same with one text in the place of each that a gateway can choose.
Values valuesOf(const Values& ordinary, const String& text);

/// A text that no component may stumble over, and what it is.
struct HostileText {
    const char* name;
    String text;
};
std::vector<HostileText> hostileTexts();

/// The secret that the text has in it, as "the ticket"; null for none. One that was given is looked for if it has eight
/// bytes at least: a shorter one may be anywhere.
const char* secretIn(std::string_view text);
/// The same of the names below a directory, and of the arguments of all other processes.
const char* secretInNames(const std::string& directory);
const char* secretInArguments();

/// Texts in memory that can be read only while they are lent, and not be written: whoever looks at one later, or
/// changes it, is ended by SIGSEGV.
class LentTexts {
public:
    /// A copy of the values whose texts of fromGateway() are lent.
    Values lend(const Values& values);
    /// What was lent so far is nobody's any more; the addresses are not used again.
    void takeBack();

private:
    struct Page {
        void* address;
        std::size_t length;
    };
    String lend(const String& text);

    std::vector<Page> m_lent;
};

}  // namespace tessel::probe
