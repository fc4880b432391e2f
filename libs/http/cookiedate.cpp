// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <charconv>

#include "libs/http/setcookie.h"

// Cookie dates (RFC 6265, 5.1.1): a forgiving grammar of tokens in any order.

namespace tessel::http {
namespace {

struct Date {
    // Below 0: not found yet.
    int hour = -1;
    int minute = 0;
    int second = 0;
    int day = -1;
    int month = -1;
    int year = -1;
};

bool isDelimiter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0x09 || (byte >= 0x20 && byte <= 0x2F) || (byte >= 0x3B && byte <= 0x40) ||
           (byte >= 0x5B && byte <= 0x60) || (byte >= 0x7B && byte <= 0x7E);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes a number of `least` to `most` digits off the token's front. No digit may follow it.
bool takeNumber(std::string_view& token, std::size_t least, std::size_t most, int& value) {
    std::size_t digits = 0;
    while (digits < token.size() && isDigit(token[digits])) {
        ++digits;
    }
    if (digits < least || digits > most) {
        return false;
    }
    std::from_chars(token.data(), token.data() + digits, value);
    token.remove_prefix(digits);
    return true;
}

bool takeColon(std::string_view& token) {
    if (token.empty() || token.front() != ':') {
        return false;
    }
    token.remove_prefix(1);
    return true;
}

bool isTime(std::string_view token, Date& date) {
    Date time;
    if (!takeNumber(token, 1, 2, time.hour) || !takeColon(token) || !takeNumber(token, 1, 2, time.minute) ||
        !takeColon(token) || !takeNumber(token, 1, 2, time.second)) {
        return false;
    }
    date.hour = time.hour;
    date.minute = time.minute;
    date.second = time.second;
    return true;
}

int monthOf(std::string_view token) {
    static constexpr std::array<const char*, 12> kMonths = {"jan", "feb", "mar", "apr", "may", "jun",
                                                            "jul", "aug", "sep", "oct", "nov", "dec"};
    if (token.size() < 3) {
        return -1;
    }
    const String word = String(token.data(), 3);
    for (std::size_t i = 0; i < kMonths.size(); ++i) {
        if (word.equalsNoCase2(kMonths[i], 3)) {
            return static_cast<int>(i) + 1;
        }
    }
    return -1;
}

void readToken(std::string_view token, Date& date) {
    if (date.hour < 0 && isTime(token, date)) {
        return;
    }
    std::string_view rest = token;
    if (date.day < 0 && takeNumber(rest, 1, 2, date.day)) {
        return;
    }
    if (date.month < 0 && (date.month = monthOf(token)) > 0) {
        return;
    }
    rest = token;
    if (date.year < 0) {
        takeNumber(rest, 2, 4, date.year);
    }
}

/// Days since 1970-01-01 of a date of the Gregorian calendar: years are counted from March, so that the day that a
/// leap year adds is a year's last, and 400 of them have 146097 days.
long long daysSinceEpoch(int year, int month, int day) {
    const long long y = month > 2 ? year : year - 1;
    const long long era = y / 400;
    const long long yearOfEra = y - era * 400;
    const long long dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

bool exists(const Date& date) {
    if (date.hour < 0 || date.hour > 23 || date.minute > 59 || date.second > 59 || date.month < 1 || date.year < 1601 ||
        date.day < 1) {
        return false;
    }
    const int nextYear = date.month == 12 ? date.year + 1 : date.year;
    const int nextMonth = date.month == 12 ? 1 : date.month + 1;
    const long long length = daysSinceEpoch(nextYear, nextMonth, 1) - daysSinceEpoch(date.year, date.month, 1);
    return date.day <= length;
}

}  // namespace

std::optional<long long> SetCookie::parseDate(const String& text) {
    Date date;
    const std::string_view all = text.view();
    for (std::size_t from = 0; from < all.size();) {
        std::size_t to = from;
        while (to < all.size() && !isDelimiter(all[to])) {
            ++to;
        }
        readToken(all.substr(from, to - from), date);
        from = to + 1;
    }
    if (date.year >= 0 && date.year < 100) {
        date.year += date.year < 70 ? 2000 : 1900;
    }
    if (!exists(date)) {
        return std::nullopt;
    }
    return ((daysSinceEpoch(date.year, date.month, date.day) * 24 + date.hour) * 60 + date.minute) * 60 + date.second;
}

}  // namespace tessel::http
