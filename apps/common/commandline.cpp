#include "apps/common/commandline.h"

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

/// One pass over the words.
class ArgumentParser {
public:
    ArgumentParser(const Grammar& grammar, const std::vector<std::string>& words)
        : m_grammar(grammar), m_words(words) {}

    Arguments run() {
        while (m_next < m_words.size() && m_result.m_error.empty()) {
            takeWord(m_words[m_next++]);
        }
        if (m_result.m_error.empty() && !asksForText("help") && !asksForText("version")) {
            checkOperands();
        }
        return std::move(m_result);
    }

private:
    void takeWord(const std::string& word) {
        if (m_onlyOperands || word == "-" || !word.starts_with('-')) {
            m_result.m_operands.push_back(word);
        } else if (word == "--") {
            m_onlyOperands = true;
        } else if (word.starts_with("--")) {
            takeLong(std::string_view(word).substr(2));
        } else {
            takeLetter(word);
        }
    }

    void takeLong(std::string_view text) {
        const auto equals = text.find('=');
        const std::string_view name = text.substr(0, equals);
        const Option* option = find([&](const Option& o) { return o.name == name; });
        if (option == nullptr) {
            m_result.m_error = "unknown option --" + std::string(name);
        } else if (equals == std::string_view::npos) {
            take(*option, std::nullopt);
        } else {
            take(*option, text.substr(equals + 1));
        }
    }

    void takeLetter(const std::string& word) {
        const Option* option = find([&](const Option& o) { return o.letter == word[1]; });
        if (option == nullptr) {
            m_result.m_error = "unknown option -" + word.substr(1, 1);
        } else if (word.size() == 2) {
            take(*option, std::nullopt);
        } else {
            take(*option, std::string_view(word).substr(2));
        }
    }

    void take(const Option& option, std::optional<std::string_view> attached) {
        const std::string shown = "--" + std::string(option.name);
        auto& values = m_result.m_values[std::string(option.name)];
        if (!values.empty() && !option.repeatable) {
            m_result.m_error = "option " + shown + " is given twice";
        } else if (option.value.empty() && attached) {
            m_result.m_error = "option " + shown + " takes no value";
        } else if (option.value.empty()) {
            values.emplace_back();
        } else if (attached) {
            values.emplace_back(*attached);
        } else if (m_next < m_words.size()) {
            values.push_back(m_words[m_next++]);
        } else {
            m_result.m_error = "option " + shown + " needs a value (" + std::string(option.value) + ")";
        }
    }

    /// Whether the switch was given; an option of that name with a value is another thing.
    [[nodiscard]] bool asksForText(std::string_view name) const {
        const Option* option = find([&](const Option& o) { return o.name == name; });
        return option != nullptr && option->value.empty() && m_result.has(name);
    }

    void checkOperands() {
        const auto given = m_result.m_operands.size();
        if (given < m_grammar.fewestOperands) {
            m_result.m_error = "missing operand: " + std::string(m_grammar.operands);
        } else if (given > m_grammar.mostOperands) {
            m_result.m_error = "unexpected operand \"" + m_result.m_operands[m_grammar.mostOperands] + "\"";
        }
    }

    template <class Predicate>
    [[nodiscard]] const Option* find(Predicate matches) const {
        const auto found = std::ranges::find_if(m_grammar.options, matches);
        return found == m_grammar.options.end() ? nullptr : &*found;
    }

    const Grammar& m_grammar;
    const std::vector<std::string>& m_words;
    std::size_t m_next = 0;
    bool m_onlyOperands = false;
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
