// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/signeddll.h"

#include "apps/nebrixclient/filedigest.h"
#include "apps/nebrixclient/sites.h"
#include "generated/component_public_key.h"
#include "libs/base/base64.h"
#include "libs/base/confhelper.h"
#include "libs/base/datetime.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/openssl/digest.h"
#include "libs/xml/parser.h"
#include "libs/xml/parserreader.h"
#include "libs/xml/xmlerrors.h"

namespace tessel {

namespace {

constexpr const char* kRoot = "dll";

ErrorFacts facts(SignatureFault fault, const String& path) {
    return {.subject = path, .cause = static_cast<int>(fault)};
}

[[noreturn]] void refuse(const String& text, RaiseSite site, const String& path,
                         SignatureFault fault = SignatureFault::Unreadable) {
    log(LogCategory::Error, "SignedDll", "loadFromFile", text);
    raise<EBadSignature>("EBadSignature", site, facts(fault, path));
}

const unsigned char* bytes(const String& text) { return reinterpret_cast<const unsigned char*>(text.array()); }

String withoutBlanks(const String& text) { return text.remove(' ').remove('\t').remove('\r').remove('\n'); }

void logVerdict(const char* text) { log(LogCategory::Error, "FileSignature", "verify", text); }

}  // namespace

void DllInfos::read(IWriter& writer) const {
    for (const String* field : {&version, &name, &signdate, &sha256}) {
        writer.write(*field);
    }
}

void DllInfos::read(IKeyWriter& writer) const {
    writer["version"].write(version);
    writer["name"].write(name);
    writer["signdate"].write(signdate);
    writer["sha256"].write(sha256);
}

void DllInfos::write(IKeyReader& reader) {
    reader["version"].read(version);
    reader["name"].read(name);
    reader["signdate"].read(signdate);
    reader["sha256"].read(sha256);
}

void DllInfos::write(IReader& /*reader*/) { raise<ENotImplemented>("ENotImplemented", sites::kSignedDllRead); }

bool DllInfos::cutElsewhere() const {
    const String before = version + name + signdate;
    const unsigned length = before.length();
    const String date = before.range(length < DateTime::kTextLength ? length : length - DateTime::kTextLength);
    return DateTime::parse(date) && !(date == signdate);
}

String ContentSigner::content() const {
    String text;
    StringWriter writer(text);
    m_object.read(static_cast<IWriter&>(writer));
    return text;
}

bool ContentSigner::verifySignature(tls::RSA& key, const String& signatureBase64) const {
    const String text = content();
    const Memory signature = Base64::decode(signatureBase64);
    // A key that could not be loaded makes every check fail, and so does a text that only decodes to a signature.
    return key.loaded() && Base64::encode(signature) == withoutBlanks(signatureBase64) &&
           key.verify(bytes(text), text.length(), signature) > 0;
}

String ContentSigner::computeSignature(ISign& signer) const {
    const String text = content();
    return Base64::encode(signer.sign(bytes(text), text.length()));
}

void SignedDll::read(IKeyWriter& writer) const {
    DllInfos::read(writer);
    writer["signature"].write(signature);
}

void SignedDll::write(IKeyReader& reader) {
    DllInfos::write(reader);
    reader["signature"].read(signature);
}

void SignedDll::loadFromFile(const String& sigPath) {
    try {
        if (!File::exists(sigPath)) {
            refuse("Missing signature file: " + sigPath, sites::kSignatureMissing, sigPath, SignatureFault::Missing);
        }
        xml::ParserReader reader(sigPath);
        write(reader[kRoot]);
    } catch (const EBadSignature&) {
        throw;
    } catch (const EFile& caught) {
        logCaught(caught, sites::kSignatureUnreadable);
        refuse("Cannot open dll signature " + sigPath, sites::kSignatureUnreadable, sigPath);
    } catch (const EKeyReader& caught) {
        logCaught(caught, sites::kSignatureMissingKey);
        refuse("Error while parsing signature", sites::kSignatureMissingKey, sigPath);
    } catch (const xml::EParserReader& caught) {
        logCaught(caught, sites::kSignatureNotXml);
        refuse("Error while parsing signature", sites::kSignatureNotXml, sigPath);
    } catch (...) {
        refuse("Unhandled exception while parsing signature", sites::kSignatureUnhandled, sigPath);
    }
}

void SignedDll::save(const String& sigPath) const { xml::Parser::write(sigPath, kRoot, *this); }

SignedDll::Verdict SignedDll::judge(tls::RSA& key, const String& digest) const {
    if (!(digest == sha256)) {
        logVerdict("bad hash ");
        return Verdict::BadHash;
    }
    if (!m_signer.verifySignature(key, signature) || cutElsewhere()) {
        logVerdict("bad signature");
        return Verdict::BadSignature;
    }
    return Verdict::Genuine;
}

bool SignedDll::verify(tls::RSA& key, const String& dllPath) const {
    return judge(key, hashFile(dllPath)) == Verdict::Genuine;
}

void SignedDll::compute(ISign& signer, const String& dllPath) {
    sha256 = hashFile(dllPath);
    signdate = DateTime::now().toString();
    signature = m_signer.computeSignature(signer);
}

String SignedDll::hashFile(const String& path) {
    tls::EVPDigest digest("sha256");
    return Base64::encode(digestFile(path, digest));
}

VerifiedComponent verifyDllSignature(const String& dllPath, const String& sigPath) {
    tls::RSA key;
    key.loadFromMem(kComponentPublicKeyPem, "", true);
    SignedDll component;
    component.loadFromFile(sigPath);
    SealedFile library(dllPath, kLargestLibrary);
    const SignedDll::Verdict verdict = component.judge(key, SignedDll::hashFile(library.openPath()));
    if (verdict != SignedDll::Verdict::Genuine) {
        log(LogCategory::Error, "NebrixClient", "verifyDllSignature", "Bad dll signature for " + dllPath);
        const bool digest = verdict == SignedDll::Verdict::BadHash;
        raise<EBadSignature>("EBadSignature", sites::kBadDllSignature,
                             facts(digest ? SignatureFault::Digest : SignatureFault::BadSignature, dllPath));
    }
    return {.sealed = std::move(library), .infos = static_cast<const DllInfos&>(component)};
}

}  // namespace tessel
