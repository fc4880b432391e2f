// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/managedsettings.h"

#include <algorithm>

#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/http/authority.h"
#include "libs/xml/keyreader.h"
#include "libs/xml/stringparser.h"
#include "libs/xml/xmlerrors.h"

namespace tessel {

namespace {

using xml::Element;
using xml::Node;

constexpr const char* kRefuse = "refuse";

/// One thing that the file may settle. What `take` is not given in the form that it expects is refused.
struct Key {
    const char* path;
    const char* expected;
    bool (*take)(ManagedSettings& settings, const String& value);
};

bool takePath(String& to, const String& value) {
    to = value;
    return value.starts("/");
}

/// The host needs a type; where the type comes first, it waits for the host.
bool takeProxyType(ManagedSettings& settings, const String& value) {
    const std::pair<const char*, Proxy::Type> types[] = {{"none", Proxy::Type::None},
                                                         {"http", Proxy::Type::Http},
                                                         {"socks4", Proxy::Type::Socks4},
                                                         {"socks5", Proxy::Type::Socks5}};
    const auto* const found = std::ranges::find_if(types, [&](const auto& type) { return value == type.first; });
    if (found == std::end(types)) {
        return false;
    }
    if (!settings.route) {
        settings.route.emplace();
    }
    settings.route->proxy.setType(found->second);
    return true;
}

bool takeProxyHost(ManagedSettings& settings, const String& value) {
    const http::Authority authority(value);
    // libcurl's own port would be no proxy's that an administrator means.
    if (value.find('@') != String::npos || authority.getPort().empty() || !authority.valid()) {
        return false;
    }
    if (!settings.route) {
        settings.route.emplace();
    }
    settings.route->proxy.setHost(value);
    return true;
}

constexpr const char* kPath = "an absolute path";

const Key kKeys[] = {
    {"certificates/exceptions", "\"refuse\"",
     [](ManagedSettings& settings, const String& value) { return settings.refuseExceptions = value == kRefuse; }},
    {"certificates/cafile", kPath,
     [](ManagedSettings& settings, const String& value) { return takePath(settings.tls.authorities, value); }},
    {"certificates/clientcertificate", kPath,
     [](ManagedSettings& settings, const String& value) { return takePath(settings.tls.certificate, value); }},
    {"certificates/clientkey", kPath,
     [](ManagedSettings& settings, const String& value) { return takePath(settings.tls.key, value); }},
    {"certificates/clientkeypassword", kPath,
     [](ManagedSettings& settings, const String& value) { return takePath(settings.tls.passwordFile, value); }},
    {"components/older", "\"refuse\"",
     [](ManagedSettings& settings, const String& value) { return settings.refuseOlder = value == kRefuse; }},
    {"proxy/type", "\"none\", \"http\", \"socks4\" or \"socks5\"", &takeProxyType},
    {"proxy/host", "a host and its port", &takeProxyHost},
};

[[noreturn]] void fail(const String& path, EndCause cause, const String& words) {
    log(LogCategory::Error, "ManagedSettings", "read", String(path + " cannot be used: " + words));
    raise<ESettingsFile>("ESettingsFile", sites::kManagedSettings,
                         {.subject = path, .words = words, .cause = static_cast<int>(cause)});
}

void require(const String& path, platform::Guarded how) {
    switch (how) {
        case platform::Guarded::NotAFile:
            fail(path, EndCause::Unreadable, "it is no ordinary file");
        case platform::Guarded::ForeignOwner:
            fail(path, EndCause::Unguarded, "it or its directory belongs to another user than root");
        case platform::Guarded::Writable:
            fail(path, EndCause::Unguarded, "others than its owner may write it or its directory");
        case platform::Guarded::TooLong:
            fail(path, EndCause::TooLarge, "it is longer than 64 KiB");
        case platform::Guarded::Unreadable:
            fail(path, EndCause::Unreadable, "the system does not let it be read");
        case platform::Guarded::Read:
        case platform::Guarded::Missing:
            break;
    }
}

/// The parser forgives an end tag that is missing, or another element's; a file that was cut must not pass.
bool isClosed(const String& text, const Element& element) {
    if (element.getEndPosition() > text.length()) {
        return false;
    }
    std::string_view tag = text.view().substr(0, element.getEndPosition());
    tag.remove_prefix(std::min(tag.rfind('<'), tag.size()));
    if (tag.ends_with("/>")) {
        return true;
    }
    const std::string_view name = element.name();
    return tag.starts_with("</") && tag.ends_with('>') &&
           String::copy(tag.data() + 2, static_cast<unsigned>(tag.size() - 3))
               .trim()
               .equalsNoCase2(name.data(), static_cast<unsigned>(name.size()));
}

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kCommentBegin = "<!--";
constexpr std::string_view kCommentEnd = "-->";

/// Where something is hidden, npos where nothing is. The parser passes over text in front of a comment or a
/// declaration, and takes for content what a comment without an end was to hide.
std::size_t hidden(std::string_view text) {
    for (std::size_t at = text.find(kCommentBegin); at != std::string_view::npos; at = text.find(kCommentBegin, at)) {
        const std::size_t before = text.substr(0, at).find_last_not_of(kBlanks);
        const std::size_t end = text.find(kCommentEnd, at + kCommentBegin.size());
        if (end == std::string_view::npos || (before != std::string_view::npos && text[before] != '>')) {
            return at;
        }
        at = end;
    }
    return text.find("<?xml", 1);
}

/// Where something else than comments begins, npos where nothing does. Each comment has its end.
std::size_t behindComments(std::string_view text, std::size_t at) {
    at = text.find_first_not_of(kBlanks, at);
    while (at != std::string_view::npos && text.substr(at).starts_with(kCommentBegin)) {
        at = text.find_first_not_of(kBlanks, text.find(kCommentEnd, at + kCommentBegin.size()) + kCommentEnd.size());
    }
    return at;
}

/// Where the root element begins if nothing but a declaration and comments is in front of it.
std::size_t behindProlog(std::string_view text) {
    constexpr std::string_view kDeclarationEnd = "?>";
    const bool declared = text.starts_with("<?xml");
    return behindComments(text, declared ? text.find(kDeclarationEnd) + kDeclarationEnd.size() : 0);
}

/// The innermost element without its end, at which people should look; null where all have theirs.
const Element* unclosed(const String& text, const Element& element) {
    for (const Element& child : element.elements()) {
        if (const Element* const found = unclosed(text, child)) {
            return found;
        }
    }
    return isClosed(text, element) ? nullptr : &element;
}

/// Reads a document of one meaning: what is there twice, is unknown or is no element has none.
class Document {
public:
    Document(const String& path, const String& text) : m_path(path), m_text(text) {}

    ManagedSettings read() {
        std::unique_ptr<Element> root;
        try {
            root = xml::StringParser::parse(m_text);
        } catch (const Exception& caught) {
            logCaught(caught, sites::kManagedCatch);
            damaged(0, "no element can be read");
        }
        if (const std::size_t at = hidden(m_text.view()); at != std::string_view::npos) {
            damaged(at, "a comment has no end, or stands behind text");
        }
        if (const Element* const open = unclosed(m_text, *root)) {
            damaged(open->getStartPosition(), "\"" + open->getName() + "\" has no end");
        }
        if (behindProlog(m_text.view()) != root->getStartPosition()) {
            damaged(0, "nothing but a declaration and comments belongs in front of \"nebrixclient\"");
        }
        if (!(root->getName() == "nebrixclient")) {
            damaged(root->getStartPosition(), "\"nebrixclient\" must hold everything");
        }
        if (const std::size_t at = behindComments(m_text.view(), root->getEndPosition());
            at != std::string_view::npos) {
            damaged(at, "nothing belongs there");
        }
        requireNoAttribute(*root);
        each(*root, [this](Element& section) {
            each(section, [&](Element& key) { take(section.getName() + "/" + key.getName(), key); });
        });
        return finished();
    }

private:
    [[noreturn]] void damaged(std::size_t at, const String& how) const {
        const auto line = 1 + std::ranges::count(m_text.view().substr(0, at), '\n');
        fail(m_path, EndCause::Unreadable,
             "it is damaged in line " + toString(static_cast<unsigned>(line)) + ": " + how);
    }

    /// None says anything here; somebody may mean one to.
    void requireNoAttribute(const Element& element) const {
        if (element.getFirstAttribute() != nullptr) {
            fail(m_path, EndCause::WrongValue, "\"" + element.getName() + "\" has an attribute");
        }
    }

    template <class Visit>
    void each(Element& parent, Visit visit) {
        for (Node* node = parent.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
            if (node->getType() == Node::Type::Element) {
                auto& child = static_cast<Element&>(*node);
                requireNoAttribute(child);
                visit(child);
            } else if (node->getType() == Node::Type::Text && !node->toString().trim().empty()) {
                damaged(parent.getStartPosition(), "\"" + parent.getName() + "\" has text beside its elements");
            }
        }
    }

    void take(const String& path, Element& element) {
        const auto* const key = std::ranges::find_if(kKeys, [&](const Key& known) { return path == known.path; });
        if (key == std::end(kKeys)) {
            fail(m_path, EndCause::WrongValue, "\"" + path + "\" is unknown");
        }
        if (std::ranges::find(m_settings.keys, path) != m_settings.keys.end()) {
            fail(m_path, EndCause::WrongValue, "\"" + path + "\" stands there twice");
        }
        if (!element.elements().empty()) {
            fail(m_path, EndCause::WrongValue, "\"" + path + "\" holds more than its value");
        }
        String value;
        xml::KeyReader(element).read(value);
        if (!key->take(m_settings, value.trim())) {
            fail(m_path, EndCause::WrongValue, "\"" + path + "\" must be " + key->expected);
        }
        m_settings.keys.push_back(path);
    }

    ManagedSettings finished() {
        m_settings.path = m_path;
        if (m_settings.tls.certificate.empty() &&
            !(m_settings.tls.key.empty() && m_settings.tls.passwordFile.empty())) {
            fail(m_path, EndCause::WrongValue, "a client's key is of no use without its certificate");
        }
        if (m_settings.route &&
            (m_settings.route->proxy.getType() == Proxy::Type::None) != m_settings.route->proxy.getHost().empty()) {
            fail(m_path, EndCause::WrongValue, "a proxy needs both a type and a host, and \"none\" has no host");
        }
        return m_settings;
    }

    const String& m_path;
    const String& m_text;
    ManagedSettings m_settings;
};

}  // namespace

ManagedSettings ManagedSettings::read(const ManagedFile& file) {
    String text;
    const platform::Guarded how = platform::readGuarded(file.path, file.owner, kLongest, text);
    require(file.path, how);
    if (how == platform::Guarded::Missing) {
        return {};
    }
    if (constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF"; text.view().starts_with(kByteOrderMark)) {
        text = text.range(kByteOrderMark.size());
    }
    ManagedSettings settings = Document(file.path, text).read();
    log(LogCategory::Trace, "ManagedSettings", "read",
        String("managed by " + file.path + ": " +
               (settings.keys.empty() ? "nothing" : String(", ").glue(settings.keys))));
    return settings;
}

}  // namespace tessel
