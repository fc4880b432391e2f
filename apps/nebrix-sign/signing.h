#pragma once

#include <string>

#include "libs/base/errors.h"

/// The signing side of component libraries: key pairs, signature files, archives. Everything works on files, keeps
/// nothing between calls, and may be called on any thread.
namespace tessel::sign {

/// A key or an archive cannot be made or used; the message is a sentence for the user and holds no key material.
TESSEL_EXCEPTION(ESign, Exception);

namespace sites {
inline constexpr RaiseSite kArchiveTooLarge{"apps/nebrix-sign/storedarchive", 64};
inline constexpr RaiseSite kBadKey{"apps/nebrix-sign/signing", 41};
inline constexpr RaiseSite kFileExists{"apps/nebrix-sign/signing", 58};
inline constexpr RaiseSite kCannotWrite{"apps/nebrix-sign/signing", 66};
inline constexpr RaiseSite kBadName{"apps/nebrix-sign/signing", 112};
}  // namespace sites

/// The signature file of a library: its path and ".sig".
std::string signaturePath(const std::string& library);

/// Makes an RSA key pair of 2048 bits and writes it as PEM: PKCS #8, readable by its owner alone, and
/// SubjectPublicKeyInfo. Raises ESign when a file is there already, unless forced, or cannot be written; the files are
/// then as they were, except that a private key may be there without its public half.
void writeKeyPair(const std::string& privatePath, const std::string& publicPath, bool force);

/// Writes a signature file over the library with the current time, replacing an earlier one as a whole. Raises ESign
/// when the file of the private key cannot be used, EFile when the library or the key file cannot be read.
void signLibrary(const std::string& library, const std::string& signatureFile, const std::string& privateKeyPath,
                 const std::string& name, const std::string& version);

/// What holds of a signed library. A library is genuine when both hold.
struct Verification {
    /// The library is the one whose digest the signature file states.
    bool digestMatches = false;
    /// The signature file's values are those that the key's owner signed.
    bool signatureMatches = false;
};
/// Raises EBadSignature when the signature file is missing or cannot be read, ESign when the key cannot be used, EFile
/// when a file cannot be read.
Verification verifyLibrary(const std::string& library, const std::string& publicKeyPath);

/// What a gateway announces of an archive.
struct Announcement {
    std::string filename;
    std::string md5;
    std::string urlpath;
    std::string pattern;
    std::string version;
};
/// Packs the library and its signature file, both at the top level, into a new archive, replacing one at that path.
/// Raises ESign when the library's or the archive's name is one that clients refuse, EFile when a file cannot be read.
Announcement packLibrary(const std::string& library, const std::string& archivePath, const std::string& version,
                         const std::string& urlpath);
/// The announcement as a JSON object on lines of its own.
std::string toJson(const Announcement& announcement);

/// MD5 as lower-case hexadecimal text.
std::string md5Hex(const std::string& bytes);
/// The whole file. Raises EFile.
std::string readWhole(const std::string& path);

}  // namespace tessel::sign
