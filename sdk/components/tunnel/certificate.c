// SPDX-License-Identifier: MIT
#define _GNU_SOURCE
#include "certificate.h"

#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kMaximalSize = 1 << 20 };

// A regular file of at most kMaximalSize bytes, open; -1 if it is none. O_NONBLOCK is for a FIFO, which would wait for
// its writer.
static int open_file(const char* path, size_t* size) {
    struct stat status;
    int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (file < 0)
        return -1;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kMaximalSize) {
        close(file);
        return -1;
    }
    *size = (size_t)status.st_size;
    return file;
}

// Fills bytes as far as the file goes; false if it cannot be read.
static bool read_all(int file, char* bytes, size_t* size) {
    size_t length = 0;
    while (length < *size) {
        ssize_t count = read(file, bytes + length, *size - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break;
        length += (size_t)count;
    }
    *size = length;
    return true;
}

// Whether a line begins "-----BEGIN " and has label before its closing "-----"; label may stand for the end of a longer
// one, as "PRIVATE KEY" does for "RSA PRIVATE KEY".
static bool has_pem(const char* bytes, size_t size, const char* label) {
    static const char kBegin[] = "-----BEGIN ";
    const char* const end = bytes + size;
    const char* at = bytes;
    while ((at = memmem(at, (size_t)(end - at), kBegin, sizeof kBegin - 1)) != NULL) {
        bool at_line_start = at == bytes || at[-1] == '\n' || at[-1] == '\r';
        at += sizeof kBegin - 1;
        const char* close = memmem(at, (size_t)(end - at), "-----", 5);
        size_t length = close == NULL ? 0 : (size_t)(close - at);
        if (at_line_start && length >= strlen(label) && memcmp(close - strlen(label), label, strlen(label)) == 0 &&
            memchr(at, '\n', length) == NULL)
            return true;
    }
    return false;
}

// PFX ::= SEQUENCE { version INTEGER {v3(3)}, ... }: the outer SEQUENCE of definite or indefinite length, then 02 01
// 03. An X.509 certificate goes on with a SEQUENCE.
static bool is_pkcs12(const unsigned char* bytes, size_t size) {
    if (size < 5 || bytes[0] != 0x30)
        return false;
    size_t length_bytes = bytes[1] > 0x80 ? 1U + (bytes[1] & 0x7fU) : 1U;
    size_t at = 1 + length_bytes;
    return size >= at + 3 && memcmp(bytes + at, "\x02\x01\x03", 3) == 0;
}

static certificate_kind judge(const char* bytes, size_t size) {
    if (is_pkcs12((const unsigned char*)bytes, size))
        return kCertificatePkcs12;
    if (!has_pem(bytes, size, "CERTIFICATE"))
        return kCertificateUnknown;
    return has_pem(bytes, size, "PRIVATE KEY") ? kCertificatePemWithKey : kCertificatePem;
}

certificate_kind certificate_kind_of(const char* path) {
    if (*path == '\0')
        return kCertificateNone;
    size_t size = 0;
    int file = open_file(path, &size);
    if (file < 0)
        return kCertificateUnreadable;
    char* bytes = malloc(size + 1);
    certificate_kind kind = kCertificateUnreadable;
    if (bytes != NULL) {
        const size_t allocated = size;
        if (read_all(file, bytes, &size))
            kind = judge(bytes, size);
        explicit_bzero(bytes, allocated);
    }
    free(bytes);
    close(file);
    return kind;
}
