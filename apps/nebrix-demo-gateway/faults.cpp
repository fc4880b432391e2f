// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/faults.h"

#include <algorithm>
#include <array>

namespace tessel::gateway {

namespace {

constexpr std::array<FaultDescription, kFaultCount> kDescriptions{{
    {Fault::Refusal, "refusal", "answers the mediation with \"success\" false and a reason"},
    {Fault::Status500, "status-500", "sends a good mediation answer with the HTTP status 500"},
    {Fault::Status404, "status-404", "answers the mediation with the HTTP status 404 and a page of text"},
    {Fault::NotJson, "not-json", "answers the mediation with text that is not JSON"},
    {Fault::DeepJson, "deep-json", "answers the mediation with 100000 nested arrays"},
    {Fault::Oversize, "oversize", "sends a good mediation answer, filled up with blanks to 20 MiB"},
    {Fault::Redirect, "redirect", "redirects the mediation request (302) to a path with a good answer"},
    {Fault::MissingSuccess, "missing-success", "leaves \"success\" out of the mediation answer"},
    {Fault::MissingResult, "missing-result", "leaves \"result\" out of the mediation answer"},
    {Fault::MissingKey, "missing-key",
     "leaves the required key \"clientid\" or \"responseurl\" out of the configuration"},
    {Fault::UnknownType, "unknown-type", "names a component type that no client knows"},
    {Fault::MissingPlatform, "missing-platform", "announces no library for this platform"},
    {Fault::BadFilename, "bad-filename", "announces an archive named \"../../escaped.zip\""},
    {Fault::BadPattern, "bad-pattern", "announces a library named \"../../escaped.so\""},
    {Fault::BadMd5, "bad-md5", "announces the digest \"/../../escaped\""},
    {Fault::Slow, "slow", "lets every answer trickle, a piece each pause"},
    {Fault::Silent, "silent", "accepts the mediation request and never answers"},
    {Fault::Archive404, "archive-404", "has no archive (404)"},
    {Fault::ArchiveCut, "archive-cut", "cuts the connection in the middle of the archive"},
    {Fault::ArchiveDamaged, "archive-damaged", "serves an archive with bytes altered"},
    {Fault::ArchiveSymlink, "archive-symlink",
     "packs a symbolic link into the archive, and a file that goes through it"},
    {Fault::ArchiveEscape, "archive-escape", "packs a member named \"../../escaped.txt\" into the archive"},
    {Fault::ArchiveSilent, "archive-silent", "sends half the archive, then nothing more"},
    {Fault::WrongMd5, "wrong-md5", "announces a digest that is not the archive's"},
    {Fault::WrongSignature, "wrong-signature", "packs a signature that was made over other values"},
    {Fault::EditedLibrary, "edited-library", "alters one byte of the library after signing it"},
    {Fault::EditedVersion, "edited-version", "edits \"version\" in the signature file"},
    {Fault::EditedName, "edited-name", "edits \"name\" in the signature file"},
    {Fault::EditedDate, "edited-date", "edits \"signdate\" in the signature file"},
    {Fault::EditedDigest, "edited-digest", "edits \"sha256\" in the signature file"},
    {Fault::NoSignatureKey, "no-signature-key", "leaves \"signature\" out of the signature file"},
    {Fault::MissingSignature, "missing-signature", "packs no signature file"},
    {Fault::ForeignKey, "foreign-key", "signs with a key made for the occasion"},
    {Fault::MissingLibrary, "missing-library", "packs the library under another name"},
    {Fault::BadPostAnswer, "bad-post-answer", "answers the host check's post with text that is not JSON"},
    {Fault::PostRefusal, "post-refusal", "answers the host check's post with \"success\" false and a reason"},
}};

constexpr bool inOrder() {
    for (std::size_t i = 0; i < kDescriptions.size(); ++i) {
        if (static_cast<std::size_t>(kDescriptions[i].fault) != i) {
            return false;
        }
    }
    return true;
}
static_assert(inOrder());

}  // namespace

std::span<const FaultDescription> faultDescriptions() { return kDescriptions; }

std::optional<Fault> faultNamed(std::string_view name) {
    const auto found = std::ranges::find(kDescriptions, name, &FaultDescription::name);
    return found == kDescriptions.end() ? std::nullopt : std::optional(found->fault);
}

}  // namespace tessel::gateway
