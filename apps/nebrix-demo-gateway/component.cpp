// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/component.h"

#include <filesystem>
#include <utility>

#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/signing.h"
#include "apps/nebrix-sign/ziparchive.h"

namespace tessel::gateway {

namespace {

/// Replaces the text of one element of a signature file.
void editElement(std::string& xml, std::string_view name, std::string_view text) {
    const std::string open = "<" + std::string(name) + ">";
    const auto from = xml.find(open);
    const auto to = xml.find("</" + std::string(name) + ">", from);
    if (from != std::string::npos && to != std::string::npos) {
        xml.replace(from + open.size(), to - from - open.size(), text);
    }
}

void removeElement(std::string& xml, std::string_view name) {
    const std::string close = "</" + std::string(name) + ">";
    const auto from = xml.find("<" + std::string(name) + ">");
    const auto to = xml.find(close, from);
    if (from != std::string::npos && to != std::string::npos) {
        xml.erase(from, to + close.size() - from);
    }
}

/// The element's text, so that the signature of one file can be put into another.
std::string elementText(const std::string& xml, std::string_view name) {
    const auto from = xml.find("<" + std::string(name) + ">") + name.size() + 2;
    return xml.substr(from, xml.find("</" + std::string(name) + ">", from) - from);
}

/// The text of a new signature file.
std::string signatureText(const std::string& library, const std::string& key, const std::string& name,
                          const std::string& version, const std::string& scratch) {
    const std::string path = scratch + "/signature";
    sign::signLibrary(library, path, key, name, version);
    return sign::readWhole(path);
}

std::string signatureOf(const GatewayOptions& options, ComponentType type, const std::string& library,
                        const std::string& scratch) {
    if (options.signedAlready) {
        return sign::readWhole(sign::signaturePath(library));
    }
    std::string key = options.keyPath;
    if (options.faults.has(Fault::ForeignKey)) {
        key = scratch + "/foreign-private.pem";
        sign::writeKeyPair(key, scratch + "/foreign-public.pem", true);
    }
    const std::string name(typeName(type));
    std::string text = signatureText(library, key, name, options.version, scratch);
    if (options.faults.has(Fault::WrongSignature)) {
        const std::string other = signatureText(library, key, name + "-other", options.version, scratch);
        editElement(text, "signature", elementText(other, "signature"));
    }
    constexpr std::pair<Fault, std::string_view> kEdits[] = {
        {Fault::EditedVersion, "version"}, {Fault::EditedName, "name"}, {Fault::EditedDate, "signdate"}};
    for (const auto& [fault, element] : kEdits) {
        if (options.faults.has(fault)) {
            editElement(text, element, elementText(text, element) + "0");
        }
    }
    if (options.faults.has(Fault::EditedDigest)) {
        editElement(text, "sha256", "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=");  // of no bytes
    }
    if (options.faults.has(Fault::NoSignatureKey)) {
        removeElement(text, "signature");
    }
    return text;
}

std::string archiveOf(const GatewayOptions& options, ComponentType type, const std::string& library,
                      const std::string& pattern, const std::string& scratch) {
    const Faults& faults = options.faults;
    std::string bytes = sign::readWhole(library);
    if (faults.has(Fault::EditedLibrary) && !bytes.empty()) {
        // The last byte: of the section headers' end, so that the altered library would still load.
        bytes.back() = static_cast<char>(bytes.back() ^ 1);
    }
    sign::ZipArchive archive;
    if (faults.has(Fault::ArchiveSymlink)) {
        archive.addLink("link", "../../..");
        archive.addFile("link/escaped.txt", "through a link");
    }
    if (faults.has(Fault::ArchiveEscape)) {
        archive.addFile("../../escaped.txt", "out of its directory");
    }
    archive.addFile(faults.has(Fault::MissingLibrary) ? "other.so" : pattern, bytes, 0755);
    if (!faults.has(Fault::MissingSignature)) {
        archive.addFile(pattern + ".sig", signatureOf(options, type, library, scratch));
    }
    return archive.finish();
}

/// Alters what lies in the middle of the archive and its end record, so that no unpacking succeeds.
void damage(std::string& archive) {
    for (std::size_t i = archive.size() / 2; i < archive.size(); i += 7) {
        archive[i] = static_cast<char>(archive[i] ^ 0x55);
    }
}

}  // namespace

ServedComponent packComponent(const GatewayOptions& options, ComponentType type, const std::string& scratch) {
    const Faults& faults = options.faults;
    const std::string name(typeName(type));
    const auto library = options.libraries.find(type);
    const bool present = library != options.libraries.end();
    ServedComponent served;
    served.version = present && options.signedAlready ? sign::signedVersion(library->second) : options.version;
    served.filename = name + "-" + served.version + ".zip";
    served.urlPath = "/components/" + name + "/";
    served.pattern = "lib" + name + ".so";
    if (present) {
        served.pattern = std::filesystem::path(library->second).filename().string();
        served.archive = archiveOf(options, type, library->second, served.pattern, scratch);
    }
    served.md5 = sign::md5Hex(faults.has(Fault::WrongMd5) ? served.archive + "other" : served.archive);
    if (faults.has(Fault::ArchiveDamaged)) {
        damage(served.archive);
    }
    if (faults.has(Fault::Archive404)) {
        served.archive.clear();
    }
    if (faults.has(Fault::BadFilename)) {
        served.filename = "../../escaped.zip";
    }
    if (faults.has(Fault::BadPattern)) {
        served.pattern = "../../escaped.so";
    }
    if (faults.has(Fault::BadMd5)) {
        served.md5 = "/../../escaped";
    }
    return served;
}

}  // namespace tessel::gateway
