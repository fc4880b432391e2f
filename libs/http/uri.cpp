// SPDX-License-Identifier: Apache-2.0
#include "libs/http/uri.h"

#include <algorithm>
#include <cstring>

#include "libs/base/log.h"
#include "libs/http/authority.h"
#include "libs/http/sites.h"
#include "libs/http/uripattern.h"

namespace tessel::http {
namespace {

/// What is logged of a text that is too long to be one.
constexpr unsigned kLoggedLength = 1024;

[[noreturn]] void refuse(const String& logged, RaiseSite site) {
    // The method's name is not that of the operation; administrators search the log for it as it has always been.
    log(LogCategory::Error, "Uri", "setScheme", String("Invalid uri: " + logged));
    raise<EUri>("EUri", site);
}

char* put(char* to, std::string_view text) {
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

/// The length of a part together with its delimiter; nothing for an empty part.
std::size_t delimited(std::string_view part, unsigned delimiter) { return part.empty() ? 0 : part.size() + delimiter; }

}  // namespace

Uri Uri::parse(const String& text) {
    if (text.length() > kMaxLength) {
        refuse(withoutUserInformation(text).range(0, kLoggedLength), sites::kUriTooLong);
    }
    UriGroups groups;
    if (!matchUri(text, groups)) {
        refuse(withoutUserInformation(text), sites::kUriNoMatch);
    }
    Uri uri;
    uri.m_text = text;
    uri.m_scheme = {groups.scheme.from, groups.scheme.to};
    uri.m_authority = {groups.authority.from, groups.authority.to};
    uri.m_path = {groups.path.from, groups.path.to};
    uri.m_fragment = {groups.fragment.from, groups.fragment.to};
    uri.m_queryFrom = groups.query.from;
    uri.m_queryTo = groups.query.to;
    return uri;
}

std::string_view Uri::partView(const Part& part) const noexcept {
    return part.from == Part::kReplaced ? m_replacements[part.toOrNumber].view()
                                        : m_text.view().substr(part.from, part.toOrNumber - part.from);
}

void Uri::replacePart(Part& part, const String& text) {
    if (part.from == Part::kReplaced) {
        m_replacements[part.toOrNumber] = text;
        return;
    }
    m_replacements.push_back(text);
    part = {Part::kReplaced, static_cast<unsigned>(m_replacements.size()) - 1};
}

void Uri::splitQuery() const {
    if (m_queryFrom == m_queryTo) {
        return;
    }
    const String query = m_text.range(m_queryFrom, m_queryTo);
    m_queryTo = m_queryFrom;
    for (unsigned from = 0; from <= query.length();) {
        const unsigned to = std::min(query.find('&', from), query.length());
        const String piece = query.range(from, to);
        putParameter(piece.left('='), piece.right('=', true));
        from = to + 1;
    }
}

void Uri::putParameter(const String& name, const String& value) const {
    const auto [place, added] = m_parameters.insert_or_assign(name, value);
    if (added) {
        m_names.push_back(place->first);
    }
}

void Uri::setParameter(const String& name, const String& value) {
    splitQuery();
    putParameter(name, value);
}

String Uri::getParameter(const String& name) const {
    splitQuery();
    const auto found = m_parameters.find(name);
    return found != m_parameters.end() ? found->second : String();
}

bool Uri::hasParameter(const String& name) const {
    splitQuery();
    return m_parameters.find(name) != m_parameters.end();
}

void Uri::delParameter(const String& name) {
    splitQuery();
    if (m_parameters.erase(name) != 0) {
        std::erase(m_names, name);
    }
}

const List<String>& Uri::getParameterNames() const {
    splitQuery();
    return m_names;
}

std::size_t Uri::queryLength() const {
    // One "&" fewer than there are parameters.
    std::size_t length = m_names.empty() ? 0 : m_names.size() - 1;
    for (const auto& [name, value] : m_parameters) {
        length += name.length() + delimited(value.view(), 1);
    }
    return length;
}

char* Uri::putQuery(char* to) const {
    bool first = true;
    for (const String& name : m_names) {
        if (!std::exchange(first, false)) {
            *to++ = '&';
        }
        to = put(to, name.view());
        if (const String& value = m_parameters.find(name)->second; !value.empty()) {
            *to++ = '=';
            to = put(to, value.view());
        }
    }
    return to;
}

String Uri::getQuery() const {
    splitQuery();
    String query;
    const unsigned length = String::total(queryLength());
    putQuery(query.reserve(length));
    query.grow(length);
    return query;
}

String Uri::getFullUri() const {
    splitQuery();
    const std::string_view scheme = partView(m_scheme);
    const std::string_view authority = partView(m_authority);
    const std::string_view path = partView(m_path);
    const std::string_view fragment = partView(m_fragment);
    const unsigned length = String::total(delimited(scheme, 1) + delimited(authority, 2) + path.size() +
                                          (m_names.empty() ? 0 : queryLength() + 1) + delimited(fragment, 1));
    String full;
    char* to = full.reserve(length);
    if (!scheme.empty()) {
        to = put(put(to, scheme), ":");
    }
    if (!authority.empty()) {
        to = put(put(to, "//"), authority);
    }
    to = put(to, path);
    if (!m_names.empty()) {
        to = putQuery(put(to, "?"));
    }
    if (!fragment.empty()) {
        put(put(to, "#"), fragment);
    }
    full.grow(length);
    return full;
}

}  // namespace tessel::http
