// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the exceptions of libs/openssl say that they were raised.
namespace tessel::tls::sites {

inline constexpr RaiseSite kRsaVerifyNoKey{"libs/openssl/rsa_wrapper", 96};
inline constexpr RaiseSite kRsaSignNoKey{"libs/openssl/rsa_wrapper", 112};
inline constexpr RaiseSite kRsaSign{"libs/openssl/rsa_wrapper", 118};
inline constexpr RaiseSite kRsaGenerate{"libs/openssl/rsa_wrapper", 134};
inline constexpr RaiseSite kRsaPem{"libs/openssl/rsa_wrapper", 151};
inline constexpr RaiseSite kDigestName{"libs/openssl/digest", 22};
inline constexpr RaiseSite kDigestFeed{"libs/openssl/digest", 39};
inline constexpr RaiseSite kCertificate{"libs/openssl/selfsignedcertificate", 44};
inline constexpr RaiseSite kCertificateName{"libs/openssl/selfsignedcertificate", 61};
inline constexpr RaiseSite kCertificateFile{"libs/openssl/selfsignedcertificate", 130};
inline constexpr RaiseSite kClientIdentity{"libs/openssl/clientidentity", 44};

}  // namespace tessel::tls::sites
