// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "apps/nebrix-sign/errors.h"
#include "apps/nebrix-sign/keyfile.h"

namespace tessel {
class SignedDll;
}

/// The signing side of component libraries: signature files and archives. Everything works on files, keeps nothing
/// between calls, and may be called on any thread. Each function raises ESign when a file cannot be read or written, a
/// key cannot be used, or OpenSSL withholds a digest that is needed, as a policy may make it.
namespace tessel::sign {

/// The signature file of a library: its path and ".sig".
std::string signaturePath(const std::string& library);

/// Writes a signature file over the library, whatever it is, with the current time, replacing an earlier one as a
/// whole. The key's path may be kDevelopmentKey.
void signLibrary(const std::string& library, const std::string& signatureFile, const std::string& privateKeyPath,
                 const std::string& name, const std::string& version, const AskPassword& ask = {});

/// What holds of a signed library. A library is genuine when both hold.
struct Verification {
    /// The library is the one whose digest the signature file states.
    bool digestMatches = false;
    /// The signature file's values are those that the key's owner signed.
    bool signatureMatches = false;
};
Verification verifyLibrary(const std::string& library, const std::string& publicKeyPath);

/// What a gateway announces of an archive.
struct Announcement {
    std::string filename;
    std::string md5;
    std::string urlpath;
    std::string pattern;
    std::string version;
};
struct PackOptions {
    std::string archivePath;
    std::string urlpath;
    /// What is to be announced; nothing: the signed version.
    std::optional<std::string> version;
    /// The file of the public key that clients verify with, if the signature is to be checked as well.
    std::optional<std::string> publicKeyPath;
};
/// Packs the library and its signature file, both at the top level, into a new archive, replacing one at that path.
/// Raises ESign when the signature file is not that of the library, was not signed with the key, or states another
/// version, and when clients refuse the library's or the archive's name.
Announcement packLibrary(const std::string& library, const PackOptions& options);
/// The announcement as a JSON object on lines of its own.
std::string toJson(const Announcement& announcement);

/// MD5 as lower-case hexadecimal text.
std::string md5Hex(const std::string& bytes);

/// Fills the object from the library's signature file.
void loadSignature(SignedDll& signedLibrary, const std::string& library);

/// Raises ESign when the signature file beside the library was made for another one, such as an earlier build.
void requireOwnSignature(const std::string& library);

/// The version that the library's signature file states.
std::string signedVersion(const std::string& library);

/// Raises ESign with the names of those of OpenSSL's digests that cannot be had.
void requireDigests(std::initializer_list<const char*> names);

}  // namespace tessel::sign
