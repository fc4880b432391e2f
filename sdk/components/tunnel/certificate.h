// SPDX-License-Identifier: MIT
// What kind of certificate file a path leads to, told by its content, since its name is the gateway's choice.
#ifndef NEBRIX_TUNNEL_CERTIFICATE_H
#define NEBRIX_TUNNEL_CERTIFICATE_H

typedef enum {
    kCertificateNone,        // no path
    kCertificateUnreadable,  // not there, not this user's to read, no regular file, or longer than 1 MiB
    kCertificateUnknown,     // none of those below
    kCertificatePem,         // one certificate or more (RFC 7468), no private key
    kCertificatePemWithKey,  // the same with a private key, encrypted or not
    kCertificatePkcs12       // RFC 7292, in DER or BER
} certificate_kind;

// Reads the file, links followed; blocks on nothing but the disk, also with a FIFO in its place. Judges by the outer
// form alone: whether the certificate is valid is the engine's to find out. What was read is wiped.
certificate_kind certificate_kind_of(const char* path);

#endif
