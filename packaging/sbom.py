#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: sbom.py ROOT...

Writes, for each package's tree ROOT/ that has programs or libraries in it, usr/share/doc/NAME/NAME.spdx.json below it: a
software bill of materials (SPDX 2.3, JSON). NAME is the last part of ROOT. It lists the files by their SHA-256 and the
libraries that each is linked with, as the dynamic section says, with the Debian package and the version that they came
from on this machine. Names of packages come from dpkg. The same files and libraries give the same bytes: the date is that
of SOURCE_DATE_EPOCH.
"""
import hashlib
import json
import os
import re
import subprocess
import sys
import time
from functools import cache
from pathlib import Path

VERSION = re.compile(r"^project\(Nebrix VERSION (\S+)", re.MULTILINE)
SOURCE = Path(__file__).resolve().parent.parent


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout


def is_elf(path):
    with path.open("rb") as file:
        return file.read(4) == b"\x7fELF"


def needed(path):
    return re.findall(r"\(NEEDED\).*\[(.+)\]", output("readelf", "--wide", "--dynamic", str(path)))


@cache
def library_folders():
    """Where the loader finds each library, of this machine's own kind first."""
    found = {}
    for name, path in re.findall(r"^\s+(\S+) \(.*\) => (\S+)$", output("/sbin/ldconfig", "--print-cache"), re.MULTILINE):
        found.setdefault(name, path)
    return found


def debian_packages(libraries):
    """By library: name, version, source and its version, and architecture of the package that it is from."""
    paths = {}
    for library in libraries:
        path = library_folders().get(library) or sys.exit(f"sbom: no library {library} on this machine")
        for name in (path, os.path.realpath(path)):
            # The package's list may know it below /usr, or without that.
            paths.update({spelling: library for spelling in (name, name.removeprefix("/usr"), f"/usr{name}")})
    listed = subprocess.run(["dpkg-query", "--search", *sorted(paths)], capture_output=True, text=True, check=False).stdout
    owners = {}
    for owner, path in (line.rsplit(": ", 1) for line in listed.splitlines() if not line.startswith("diversion ")):
        owners.setdefault(paths[path], owner.split(",")[0])
    if missing := set(libraries) - set(owners):
        sys.exit(f"sbom: of no package: {' '.join(sorted(missing))}")
    show = "${Package}\t${Version}\t${source:Package}\t${source:Version}\t${Architecture}"
    return {library: tuple(output("dpkg-query", "--show", f"--showformat={show}", owner).split("\t"))
            for library, owner in owners.items()}


def distribution():
    release = Path("/etc/os-release").read_text(encoding="utf-8")
    codename = re.search(r"^(?:DEBIAN_CODENAME|VERSION_CODENAME)=(\S+)$", release, re.MULTILINE)
    return codename[1] if codename else "debian"


def spdx_of_library(package):
    name, version, source, source_version, architecture = package
    locator = f"pkg:deb/debian/{name}@{version}?arch={architecture}&distro={distribution()}"
    return {
        "SPDXID": f"SPDXRef-Package-{re.sub('[^A-Za-z0-9.-]', '-', name)}",
        "name": name,
        "versionInfo": version,
        "supplier": "Organization: Debian",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
        "sourceInfo": f"Debian source package {source} {source_version}",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": locator.replace("+", "%2B").replace("~", "%7E"),
        }],
    }


def spdx_of_files(root, programs):
    entries = []
    for number, path in enumerate(programs, start=1):
        entries.append({
            "SPDXID": f"SPDXRef-File-{number}",
            "fileName": f"./{path.relative_to(root)}",
            "fileTypes": ["BINARY"],
            "checksums": [{"algorithm": algorithm.upper(), "checksumValue": hashlib.new(algorithm, path.read_bytes()).hexdigest()}
                          for algorithm in ("sha1", "sha256")],
            "licenseConcluded": "NOASSERTION",
            "copyrightText": "2026 Nebrix",
        })
    return entries


def document(root, programs, packages):
    name, version = root.name, VERSION.search((SOURCE / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
    own = "SPDXRef-Package"
    files = spdx_of_files(root, programs)
    libraries, links = {}, set()
    for entry, path in zip(files, programs):
        for library in needed(path):
            package = spdx_of_library(packages[library])
            libraries[package["SPDXID"]] = package
            links.add((entry["SPDXID"], "DYNAMIC_LINK", package["SPDXID"]))
    links |= {("SPDXRef-DOCUMENT", "DESCRIBES", own)} | {(own, "CONTAINS", entry["SPDXID"]) for entry in files}
    links |= {(own, "DEPENDS_ON", library) for library in libraries}
    package = {
        "SPDXID": own,
        "name": name,
        "versionInfo": version,
        "supplier": "Organization: Nebrix",
        "homepage": "https://nebrix.example/",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "Apache-2.0",
        "licenseDeclared": "Apache-2.0",
        "copyrightText": "2026 Nebrix",
    }
    made = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"])))
    bill = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}-{version}",
        "creationInfo": {"created": made, "creators": ["Organization: Nebrix", "Tool: packaging/sbom.py"]},
        "packages": [package, *(libraries[key] for key in sorted(libraries))],
        "files": files,
        "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b}
                          for a, kind, b in sorted(links)],
    }
    # A document's name space must be its own: what it says tells it from others.
    digest = hashlib.sha256(json.dumps(bill, sort_keys=True).encode()).hexdigest()
    return {**bill, "documentNamespace": f"https://nebrix.example/spdx/{name}-{version}-{digest[:16]}"}


def main():
    programs = {}
    for root in map(Path, sys.argv[1:]):
        programs[root] = sorted(path for path in root.rglob("*")
                                if path.is_file() and not path.is_symlink() and is_elf(path))
    packages = debian_packages({library for paths in programs.values() for path in paths for library in needed(path)})
    for root, paths in programs.items():
        if paths:
            target = root / "usr/share/doc" / root.name / f"{root.name}.spdx.json"
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(json.dumps(document(root, paths, packages), indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
