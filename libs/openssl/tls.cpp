// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/tls.h"

#include <openssl/crypto.h>

namespace tessel::tls {

String TLS::getOpensslVersion() { return OpenSSL_version(OPENSSL_VERSION); }

}  // namespace tessel::tls
