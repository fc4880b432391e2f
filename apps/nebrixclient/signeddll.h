// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/errors.h"
#include "libs/base/sealedfile.h"
#include "libs/base/serialize.h"
#include "libs/openssl/rsa_wrapper.h"

namespace tessel {

/// A component is not genuine, or its signature file cannot be used.
TESSEL_EXCEPTION(EBadSignature, Exception);

/// What is signed of a component.
class DllInfos : public ISerialize {
public:
    String version;
    String name;
    String signdate;
    String sha256;  ///< Base64 of the digest of the whole library file

    /// The four texts in this order, with nothing between them: the signed content.
    void read(IWriter& writer) const override;
    void read(IKeyWriter& writer) const override;
    void write(IKeyReader& reader) override;
    /// Whether the date's field is not where the signed texts, of which nothing says where one ends, show one right
    /// before the digest. Such a reading has the same signature as what was signed, but is another.
    [[nodiscard]] bool cutElsewhere() const;
    /// Unkeyed content cannot be taken apart again: raises ENotImplemented.
    void write(IReader& reader) override;
};

/// Signs and checks the unkeyed content of an object, which must outlive it.
class ContentSigner {
public:
    explicit ContentSigner(const ISerialize& object) noexcept : m_object(object) {}

    /// Whether the Base64 text is the key's signature over the content: RSA PKCS #1 v1.5 (RFC 8017) with SHA-1, which
    /// is what existing signature files carry.
    /// Blanks and line ends in the text are passed over; anything else that a tolerant decoder would ignore fails.
    [[nodiscard]] bool verifySignature(tls::RSA& key, const String& signatureBase64) const;
    [[nodiscard]] String computeSignature(ISign& signer) const;

private:
    [[nodiscard]] String content() const;

    const ISerialize& m_object;
};

/// A component's detached signature file: the keys of DllInfos and "signature" under "dll".
/// Used by one thread; each check makes its own.
class SignedDll final : public DllInfos {
public:
    String signature;  ///< Base64

    SignedDll() : m_signer(static_cast<const DllInfos&>(*this)) {}
    SignedDll(const SignedDll&) = delete;
    SignedDll& operator=(const SignedDll&) = delete;

    using DllInfos::read;
    using DllInfos::write;
    void read(IKeyWriter& writer) const override;
    void write(IKeyReader& reader) override;
    /// The content of a SignedDll is that of its DllInfos: the signature is no part of what is signed.

    /// Fills the object; every failure is logged and raises EBadSignature.
    void loadFromFile(const String& sigPath);
    /// Writes the file. Raises xml::EParser.
    void save(const String& sigPath) const;

    /// Which check fails, in the order in which they are made.
    enum class Verdict { Genuine, BadHash, BadSignature };
    /// Of the library with this digest, as hashFile() gives it. A failure is logged. A signature that holds for
    /// fields that are cut elsewhere counts as bad.
    [[nodiscard]] Verdict judge(tls::RSA& key, const String& digest) const;
    /// The same as a yes or no. Raises EFile when the library cannot be read.
    [[nodiscard]] bool verify(tls::RSA& key, const String& dllPath) const;

    /// The signing side: takes the library's digest and the current time, then signs. Raises EFile.
    void compute(ISign& signer, const String& dllPath);

    /// Base64 of the file's SHA-256 digest. Raises EFile.
    static String hashFile(const String& path);

private:
    const ContentSigner m_signer;
};

/// What an EBadSignature is about, as the cause in its facts, whose subject is the file.
enum class SignatureFault : int { Missing = 1, Unreadable, Digest, BadSignature };

/// A library's bytes as they were when they were found genuine, and what was signed of them. Moves.
struct VerifiedComponent {
    SealedFile sealed;
    DllInfos infos;
};

/// Bytes that a library may have at most: 256 MiB.
inline constexpr std::uint64_t kLargestLibrary = std::uint64_t{256} << 20U;

/// Returns only when the library is genuine by the compiled-in key; else logs and raises EBadSignature. Reads the
/// signature file and then the library once each; what is judged are the bytes that it returns. Raises EFile when they
/// cannot be had.
VerifiedComponent verifyDllSignature(const String& dllPath, const String& sigPath);

}  // namespace tessel
