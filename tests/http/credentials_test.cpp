#include "libs/http/credentials.h"

#include <gtest/gtest.h>

#include <map>

#include "libs/http/proxy.h"

using tessel::Credentials;
using tessel::ProtectedCredentials;
using tessel::Proxy;
using tessel::String;

namespace {

/// A keyed store: nested keys joined with "/".
class Keys final : public tessel::IKeyReader, public tessel::IKeyWriter {
public:
    using tessel::IKeyReader::read;
    using tessel::IKeyWriter::write;
    using Map = std::map<std::string, String>;

    explicit Keys(Map& map, std::string prefix = {}) : m_map(map), m_prefix(std::move(prefix)) {}
    Keys& operator[](const char* key) override {
        m_child = std::make_unique<Keys>(m_map, m_prefix + "/" + key);
        return *m_child;
    }
    Keys& operator[](const String& key) override { return (*this)[key.str()]; }
    bool exists(const String& key) override { return size(key) != 0; }
    unsigned size(const String& key) override {
        const std::string path = m_prefix + "/" + key.str();
        const auto found = m_map.lower_bound(path);
        return found != m_map.end() && found->first.starts_with(path) ? 1 : 0;
    }
    void read(String& value) override { value = m_map.at(m_prefix); }
    void read(tessel::ISerialize& value) override { value.write(static_cast<tessel::IKeyReader&>(*this)); }
    void write(const String& value) override { m_map[m_prefix] = value; }
    void write(bool) override {}
    void write(int) override {}
    void write(unsigned) override {}
    void write(const tessel::ISerialize& value) override { value.read(static_cast<tessel::IKeyWriter&>(*this)); }

private:
    Map& m_map;
    std::string m_prefix;
    std::unique_ptr<Keys> m_child;
};

TEST(Credentials, DomainLoginGoesBothWays) {
    const struct {
        const char *domain, *login, *text;
    } cases[] = {{"", "joe", "joe"},
                 {"DOM", "joe", "DOM\\joe"},
                 {"DOM", "a\\b", "DOM\\a\\b"},
                 {"DOM", "", "DOM\\"},
                 {"", "", ""}};
    for (const auto& c : cases) {
        Credentials credentials(c.login, "secret", c.domain);
        EXPECT_EQ(credentials.getDomainLogin(true), c.text);
        EXPECT_EQ(credentials.getDomainLogin(false), c.login);
        credentials.setDomainLogin(credentials.getDomainLogin(true));
        EXPECT_EQ(credentials.getDomain(), c.domain);
        EXPECT_EQ(credentials.getLogin(), c.login);
    }
}

TEST(Credentials, AreSavedInPlainTextAndNeedLoginAndPassword) {
    Keys::Map map;
    Keys keys(map);
    ProtectedCredentials(Credentials("l", "p\n", "d")).read(static_cast<tessel::IKeyWriter&>(keys));
    EXPECT_EQ(map, (Keys::Map{{"/login", "l"}, {"/password", "p\n"}, {"/domain", "d"}}));
    map.erase("/domain");
    ProtectedCredentials read(Credentials("", "", "kept"));
    read.keywrite(keys);
    EXPECT_EQ(Credentials(read).getPassword(), "p\n");
    EXPECT_EQ(Credentials(read).getDomain(), "kept");
    map.erase("/password");
    EXPECT_THROW(read.keywrite(keys), tessel::EConfMissingKey);
}

TEST(Proxy, TypesAndTheirNames) {
    const struct {
        const char* name;
        Proxy::Type type;
    } names[] = {{"no-proxy", Proxy::Type::None}, {"no", Proxy::Type::None},      {"none", Proxy::Type::None},
                 {"socks4", Proxy::Type::Socks4}, {"sock5", Proxy::Type::Socks5}, {"socks5", Proxy::Type::None},
                 {"connect", Proxy::Type::Http},  {"https", Proxy::Type::Http},   {"http", Proxy::Type::Http}};
    for (const auto& c : names) {
        EXPECT_EQ(Proxy::computeType(String(c.name)), c.type) << c.name;
    }
    const char* texts[] = {"socks4", "socks5", "https", "none"};
    for (int i = 0; i < 4; ++i) {
        Keys::Map map;
        Keys keys(map);
        const Proxy proxy(static_cast<Proxy::Type>(i), "h:1", Credentials("l", "p", "d"));
        EXPECT_EQ(proxy.getTypeString(), texts[i]);
        proxy.read(static_cast<tessel::IKeyWriter&>(keys));
        Proxy loaded;
        loaded.keywrite(keys);
        EXPECT_EQ(loaded.getType(), proxy.getType());
        EXPECT_EQ(loaded.getHost(), "h:1");
        EXPECT_EQ(loaded.getCredentials().getDomain(), "d");
    }
}

}  // namespace
