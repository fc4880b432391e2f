// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Command lines of the programs: a grammar as data, its parser and its help text.
///
/// The form is that of getopt_long(3), which reads it: "--name", "--name VALUE", "--name=VALUE", "-n", "-n VALUE",
/// "-nVALUE", and "-nm" for two switches; options and operands may be mixed; everything behind a bare "--" is an
/// operand, and so is a bare "-". Names are never abbreviated: a script must mean the same when an option is added.
/// Nothing here reads or writes anything, or raises but std::bad_alloc. parse() on one thread at a time, since
/// getopt_long keeps its place in the process's memory.
namespace tessel::commandline {

struct Option {
    /// Without its dashes.
    const char* name = "";
    /// The one-letter form, or 0.
    char letter = 0;
    /// What the help calls the value ("FILE"); empty for a switch.
    std::string_view value = {};
    std::string_view help = {};
    /// Whether it may be given more than once.
    bool repeatable = false;
};

struct Grammar {
    std::string_view program = {};
    /// The operands as the usage line shows them ("MEDIATION", "[FILE...]").
    std::string_view operands = {};
    /// One sentence on what the program does.
    std::string_view summary = {};
    std::vector<Option> options = {};
    unsigned fewestOperands = 0;
    unsigned mostOperands = 0;
    /// What the help ends with, such as exit codes: whole lines.
    std::string_view epilogue = {};
};

/// What a command line said. A value type.
class Arguments {
public:
    /// What is wrong with the command line, as one line without a line end; empty when nothing is.
    [[nodiscard]] const std::string& error() const noexcept { return m_error; }
    /// Whether the option was given. Options are named without dashes.
    [[nodiscard]] bool has(std::string_view name) const;
    /// The option's last value; the fallback when it was not given.
    [[nodiscard]] std::string value(std::string_view name, std::string_view fallback = {}) const;
    /// All its values in their order.
    [[nodiscard]] std::vector<std::string> values(std::string_view name) const;
    [[nodiscard]] const std::vector<std::string>& operands() const noexcept { return m_operands; }

private:
    friend class ArgumentParser;

    std::string m_error;
    std::vector<std::string> m_operands;
    // A switch that was given has one empty value.
    std::map<std::string, std::vector<std::string>, std::less<>> m_values;
};

/// Stops at the first error. When the switch "--help" or "--version" was given, the number of
/// operands is not checked.
Arguments parse(const Grammar& grammar, const std::vector<std::string>& words);
/// The same for main(): the first word, the program's name, is passed over.
Arguments parse(const Grammar& grammar, int argc, const char* const argv[]);

/// "usage: PROGRAM [options] OPERANDS", without a line end.
std::string usage(const Grammar& grammar);
/// The whole text for "--help": usage, summary, one entry for each option, epilogue. At most 80 columns where
/// the words allow it.
std::string help(const Grammar& grammar);

/// A whole decimal number from lowest to highest; nothing for any other text (blanks, signs, trailing bytes).
std::optional<unsigned> number(std::string_view text, unsigned lowest, unsigned highest);

}  // namespace tessel::commandline
