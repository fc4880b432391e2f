// SPDX-License-Identifier: Apache-2.0
#include "apps/common/commandline.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>

namespace tessel::commandline {

bool Arguments::has(std::string_view name) const { return m_values.find(name) != m_values.end(); }

std::string Arguments::value(std::string_view name, std::string_view fallback) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string(fallback) : found->second.back();
}

std::vector<std::string> Arguments::values(std::string_view name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::vector<std::string>() : found->second;
}

/// One pass over the words by getopt_long(3), which keeps its place in optind, optarg and optopt.
class ArgumentParser {
public:
    ArgumentParser(const Grammar& grammar, const std::vector<std::string>& words) : m_grammar(grammar) {
        for (const std::string& word : words) {
            m_words.push_back(const_cast<char*>(word.c_str()));  // only its pointers may be moved, and are not
        }
        m_words.push_back(nullptr);
        for (const Option& option : grammar.options) {
            const int argument = option.value.empty() ? no_argument : required_argument;
            const int value = option.letter != 0 ? option.letter : kNoLetter + static_cast<int>(m_names.size());
            m_names.push_back({option.name, argument, nullptr, value});
            if (option.letter != 0) {
                m_letters.append(1, option.letter).append(option.value.empty() ? "" : ":");
            }
        }
        m_names.push_back({});
    }

    Arguments run() {
        optind = 0;  // from the beginning, whatever was parsed before
        while (takeNext() && m_result.m_error.empty()) {
        }
        if (m_result.m_error.empty() && !asksForText("help") && !asksForText("version")) {
            checkOperands();
        }
        return std::move(m_result);
    }

private:
    static constexpr int kOperand = 1;
    static constexpr int kNoLetter = 256;  // plus the option's index: above every letter

    /// False behind the last word.
    bool takeNext() {
        const char* const current = m_words[static_cast<std::size_t>(std::max(optind, 1))];
        const int found = getopt_long(static_cast<int>(m_words.size()) - 1, m_words.data(), m_letters.c_str(),
                                      m_names.data(), nullptr);
        if (found == -1) {  // the end, or "--"
            m_result.m_operands.insert(m_result.m_operands.end(), m_words.begin() + optind, m_words.end() - 1);
        } else if (found == kOperand) {
            m_result.m_operands.emplace_back(optarg);
        } else {
            takeOption(current, found);
        }
        return found != -1;
    }

    void takeOption(std::string_view word, int found) {
        const Option* option = optionOf(found == '?' || found == ':' ? optopt : found);
        const std::string_view name = word.substr(2, word.find('=') - 2);
        if (word.starts_with("--") && (option == nullptr || name != option->name)) {  // unknown, or abbreviated
            m_result.m_error = "unknown option --" + std::string(name);
        } else if (option == nullptr) {
            m_result.m_error = std::string("unknown option -") + static_cast<char>(optopt);
        } else if (found == '?') {
            m_result.m_error = shown(*option) + " takes no value";
        } else if (found == ':') {
            m_result.m_error = shown(*option) + " needs a value (" + std::string(option->value) + ")";
        } else if (m_result.has(option->name) && !option->repeatable) {
            m_result.m_error = shown(*option) + " is given twice";
        } else {
            m_result.m_values[option->name].emplace_back(optarg == nullptr ? "" : optarg);
        }
    }

    static std::string shown(const Option& option) { return "option --" + std::string(option.name); }

    /// By what getopt_long calls it; none for 0.
    [[nodiscard]] const Option* optionOf(int value) const {
        const auto index = std::ranges::find(m_names, value, &::option::val) - m_names.begin();
        return index < std::ssize(m_grammar.options) ? &m_grammar.options[static_cast<std::size_t>(index)] : nullptr;
    }

    /// Whether the switch was given; an option of that name with a value is another thing.
    [[nodiscard]] bool asksForText(std::string_view name) const {
        return m_result.has(name) && std::ranges::any_of(m_grammar.options, [name](const Option& option) {
                   return option.name == name && option.value.empty();
               });
    }

    void checkOperands() {
        const auto given = m_result.m_operands.size();
        if (given < m_grammar.fewestOperands) {
            m_result.m_error = "missing operand: " + std::string(m_grammar.operands);
        } else if (given > m_grammar.mostOperands) {
            m_result.m_error = "unexpected operand \"" + m_result.m_operands[m_grammar.mostOperands] + "\"";
        }
    }

    const Grammar& m_grammar;
    std::vector<char*> m_words{nullptr};  // the first stands for the program's name
    std::vector<::option> m_names;
    std::string m_letters = "-:";  // operands in their order, and a missing value told apart from other errors
    Arguments m_result;
};

Arguments parse(const Grammar& grammar, const std::vector<std::string>& words) {
    return ArgumentParser(grammar, words).run();
}

Arguments parse(const Grammar& grammar, int argc, const char* const argv[]) {
    return parse(grammar, std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
}

std::string usage(const Grammar& grammar) {
    std::string text = "usage: " + std::string(grammar.program);
    if (!grammar.options.empty()) {
        text += " [options]";
    }
    if (!grammar.operands.empty()) {
        text += " " + std::string(grammar.operands);
    }
    return text;
}

namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kHelpColumn = 26;

/// Adds text broken at blanks; the line already holds `column` characters, further lines start at `indent`.
void wrap(std::string& out, std::string_view text, std::size_t column, std::size_t indent) {
    bool first = true;
    while (!text.empty()) {
        const auto end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!first && column + 1 + word.size() > kColumns) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (!first) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
        first = false;
    }
    out += '\n';
}

void describe(std::string& out, const Option& option) {
    std::string head = option.letter != 0 ? std::string("  -") + option.letter + ", --" : std::string("      --");
    head += option.name;
    if (!option.value.empty()) {
        head += " " + std::string(option.value);
    }
    out += head;
    if (head.size() + 2 > kHelpColumn) {
        out += "\n" + std::string(kHelpColumn, ' ');
    } else {
        out += std::string(kHelpColumn - head.size(), ' ');
    }
    wrap(out, option.help, kHelpColumn, kHelpColumn);
}

}  // namespace

std::string help(const Grammar& grammar) {
    std::string out = usage(grammar) + "\n";
    wrap(out, grammar.summary, 0, 0);
    if (!grammar.options.empty()) {
        out += "\nOptions:\n";
        for (const Option& option : grammar.options) {
            describe(out, option);
        }
    }
    if (!grammar.epilogue.empty()) {
        out += "\n" + std::string(grammar.epilogue);
    }
    return out;
}

std::optional<unsigned> number(std::string_view text, unsigned lowest, unsigned highest) {
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, status] = std::from_chars(text.data(), end, value);
    if (text.empty() || status != std::errc() || stop != end || value < lowest || value > highest) {
        return std::nullopt;
    }
    return value;
}

}  // namespace tessel::commandline
