// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/memory.h"
#include "libs/base/string.h"
#include "libs/openssl/errors.h"

struct evp_md_ctx_st;

namespace tessel::tls {

/// A message digest that is fed in pieces of any size. Used by one thread at a time.
class EVPDigest {
public:
    /// By OpenSSL's name of it, such as "sha256", in any case. Raises EEVPDigest when there is none of that name.
    explicit EVPDigest(const char* name);

    /// Pieces as small as 1 KiB cost a few hundredths more than large ones.
    void feed(const void* bytes, unsigned long length);
    void feed(const Memory& bytes) { feed(bytes.array(), bytes.length()); }
    void feed(const String& text) { feed(text.array(), text.length()); }
    /// The digest of all that was fed since the start or the last result; starts anew.
    Memory result();

private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const noexcept;
    };
    std::unique_ptr<evp_md_ctx_st, Free> m_context;
};

class MD5 final : public EVPDigest {
public:
    MD5() : EVPDigest("md5") {}
};

class SHA1 final : public EVPDigest {
public:
    SHA1() : EVPDigest("sha1") {}
};

class SHA256 final : public EVPDigest {
public:
    SHA256() : EVPDigest("sha256") {}
};

}  // namespace tessel::tls
