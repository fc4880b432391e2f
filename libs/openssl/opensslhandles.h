// SPDX-License-Identifier: Apache-2.0
#pragma once

// Internal to libs/openssl: owners of OpenSSL objects, and the way in which its errors are raised.

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

#include "libs/base/freewith.h"
#include "libs/base/raisesite.h"
#include "libs/base/string.h"

namespace tessel::tls {

using BioPointer = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using EvpKeyPointer = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using X509Pointer = std::unique_ptr<X509, FreeWith<X509_free>>;

/// Raises E with the message "name", or "name: reason" where OpenSSL's error queue tells one; empties the queue.
template <class E>
[[noreturn]] void raiseOpenssl(const char* name, RaiseSite site) {
    const unsigned long code = ERR_peek_last_error();
    const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
    const String message = reason != nullptr ? String(String(name) + ": " + reason) : String(name);
    ERR_clear_error();
    throw E(message.clone(), String(site.file), site.line);
}

/// What has been written to a memory BIO.
inline String textOf(BIO* memory) {
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(memory, &bytes);
    return length > 0 ? String::copy(bytes, static_cast<unsigned>(length)) : String();
}

/// On one line, most specific part first (RFC 4514): UTF-8 as it is, control bytes escaped.
inline String oneLine(const X509_NAME* name) {
    constexpr unsigned long kFlags = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    const BioPointer bio(BIO_new(BIO_s_mem()));
    return bio != nullptr && X509_NAME_print_ex(bio.get(), name, 0, kFlags) >= 0 ? textOf(bio.get()) : String();
}

}  // namespace tessel::tls
