#include <tessel/base/memory.h>
#include <tessel/base/splitter.h>
#include <tessel/base/string.h>

#include <algorithm>
#include <iomanip>
#include <map>
#include <ranges>
#include <span>
#include <sstream>
#include <unordered_map>

#include "expect.h"

using tessel::String;
using namespace std::literals;

static_assert(std::ranges::contiguous_range<String> && std::totally_ordered_with<String, std::string_view>);
static_assert(std::ranges::input_range<tessel::CharSplitter>);
static_assert(std::is_nothrow_move_constructible_v<String> && std::is_nothrow_move_assignable_v<String>);

int main() {
    std::unordered_map<String, int, std::hash<String>, std::equal_to<>> seen;
    for (const String& word : tessel::CharSplitter("to be or not to be", ' ')) {
        ++seen[word];
    }
    expect(seen.find("be"sv)->second == 2);  // looked up without a String

    tessel::CharSplitter fields(",x,", ',');
    expect(std::ranges::distance(fields) == 3 && std::ranges::distance(fields) == 3);  // each walk begins anew

    tessel::Strings words;
    std::ranges::transform(seen, std::back_inserter(words), [](const auto& entry) { return entry.first; });
    std::ranges::sort(words, std::greater());
    expect(words == tessel::Strings{"to", "or", "not", "be"} && words[0] > "or"s && "be"sv < words[1]);
    const std::map<String, int, std::less<>> ordered(seen.begin(), seen.end());
    expect(ordered.find("not")->second == 1 && std::ranges::count(words[2], 'o') == 1);

    std::ostringstream out;
    out << std::setw(4) << std::left << words[0] << '|' << words[1] + "!" << '|';
    expect(String(out.str()) == "to  |or!|");
    expect(String(words[0] + std::string_view()) == "to" && String(std::string_view()).empty());

    const std::string_view view = words[2];
    const tessel::Memory memory = words[2];
    const std::span<const unsigned char> bytes = memory;
    expect(view.data() == words[2].data() && std::ranges::equal(bytes, view));
    std::string standard(words[3]);
    standard += words[3];
    expect(standard == "bebe");
}
