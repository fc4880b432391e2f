#include "libs/http/uri.h"

#include <algorithm>
#include <cstring>

#include "libs/base/log.h"
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

String group(const String& text, const UriGroups& groups, unsigned number) {
    const std::size_t from = groups[2 * number];
    const std::size_t to = groups[2 * number + 1];
    return from < to ? text.range(static_cast<unsigned>(from), static_cast<unsigned>(to)) : String();
}

char* put(char* to, const String& text) {
    std::memcpy(to, text.array(), text.length());
    return to + text.length();
}

}  // namespace

Uri Uri::parse(const String& text) {
    if (text.length() > kMaxLength) {
        refuse(text.range(0, kLoggedLength), sites::kUriTooLong);
    }
    UriGroups groups;
    if (!matchUri(text, groups)) {
        refuse(text, sites::kUriNoMatch);
    }
    Uri uri;
    uri.m_scheme = group(text, groups, 2);
    uri.m_authority = group(text, groups, 4);
    uri.m_path = group(text, groups, 5);
    uri.m_unsplitQuery = group(text, groups, 7);
    uri.m_fragment = group(text, groups, 9);
    return uri;
}

void Uri::splitQuery() const {
    if (m_unsplitQuery.empty()) {
        return;
    }
    const String query = std::exchange(m_unsplitQuery, String());
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

unsigned Uri::queryLength() const {
    // One "&" fewer than there are parameters.
    unsigned length = m_names.empty() ? 0 : static_cast<unsigned>(m_names.size()) - 1;
    for (const auto& [name, value] : m_parameters) {
        length += name.length() + (value.empty() ? 0 : value.length() + 1);
    }
    return length;
}

char* Uri::putQuery(char* to) const {
    bool first = true;
    for (const String& name : m_names) {
        if (!std::exchange(first, false)) {
            *to++ = '&';
        }
        to = put(to, name);
        if (const String& value = m_parameters.find(name)->second; !value.empty()) {
            *to++ = '=';
            to = put(to, value);
        }
    }
    return to;
}

String Uri::getQuery() const {
    splitQuery();
    String query;
    const unsigned length = queryLength();
    putQuery(query.reserve(length));
    query.grow(length);
    return query;
}

String Uri::getFullUri() const {
    splitQuery();
    const unsigned length = (m_scheme.empty() ? 0 : m_scheme.length() + 1) +
                            (m_authority.empty() ? 0 : m_authority.length() + 2) + m_path.length() +
                            (m_names.empty() ? 0 : queryLength() + 1) +
                            (m_fragment.empty() ? 0 : m_fragment.length() + 1);
    String full;
    char* to = full.reserve(length);
    if (!m_scheme.empty()) {
        to = put(to, m_scheme);
        *to++ = ':';
    }
    if (!m_authority.empty()) {
        *to++ = '/';
        *to++ = '/';
        to = put(to, m_authority);
    }
    to = put(to, m_path);
    if (!m_names.empty()) {
        *to++ = '?';
        to = putQuery(to);
    }
    if (!m_fragment.empty()) {
        *to++ = '#';
        put(to, m_fragment);
    }
    full.grow(length);
    return full;
}

}  // namespace tessel::http
