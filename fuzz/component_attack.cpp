// SPDX-License-Identifier: Apache-2.0
// Attacks the decision that a component is genuine: with edited signature files and libraries, and with exchanges of
// files between check and use. Prints what became of each kind; fails when anything was accepted or ran that was not
// signed, or when an attack did not come into play. "by-path" loads the verified library by its path instead of its
// bytes, to show that the exchanges hit.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "apps/component/moduleloader.h"
#include "apps/nebrix-sign/signing.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/platform.h"

namespace {

namespace fs = std::filesystem;
using tessel::DllInfos;
using tessel::String;

std::string readAll(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::abort();
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeAll(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// A directory with a signed library, which the attacks change.
class Place {
public:
    Place() {
        char directory[] = "/tmp/component_attack-XXXXXX";
        if (mkdtemp(directory) == nullptr) {
            std::abort();
        }
        m_directory = directory;
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() { fs::remove_all(m_directory); }

    [[nodiscard]] std::string path(const std::string& name) const { return m_directory + "/" + name; }
    [[nodiscard]] std::string file() const { return path("liba.so"); }
    [[nodiscard]] std::string signature() const { return path("liba.so.sig"); }
    void sign(const std::string& bytes) const {
        fs::remove(file());
        writeAll(file(), bytes);
        tessel::sign::signLibrary(file(), signature(), ATTACK_KEY, "name", "1.0.0");
    }
    [[nodiscard]] tessel::VerifiedComponent verify() const {
        return tessel::verifyDllSignature(String::copy(file()), String::copy(signature()));
    }

private:
    std::string m_directory;
};

// Edits.

class Edits {
public:
    explicit Edits(const Place& place) : m_place(place) {
        place.sign(m_library);
        m_signature = readAll(place.signature());
        m_genuine = place.verify().infos;
    }

    bool run(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            writeAll(m_place.file(), i % 3 == 0 ? edited(m_library) : m_library);
            writeAll(m_place.signature(), i % 3 == 1 ? edited(m_signature) : i % 3 == 2 ? cutAnew() : m_signature);
            judge();
        }
        std::printf(
            "edits: %u refused, %u accepted with the signed fields, %u with version and name cut elsewhere, "
            "%u others\n",
            m_refused, m_same, m_cut, m_others);
        return m_others == 0 && m_refused != 0 && m_same != 0;
    }

private:
    unsigned below(std::size_t limit) { return static_cast<unsigned>(m_random() % limit); }

    /// A few bits, bytes or pieces of it are another's.
    std::string edited(std::string text) {
        for (unsigned edits = 1 + below(3); edits != 0 && !text.empty(); --edits) {
            const std::size_t at = below(text.size());
            const std::size_t length = 1 + below(8);
            switch (below(4)) {
                case 0:
                    text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
                    break;
                case 1:
                    text.erase(at, length);
                    break;
                case 2:
                    text.insert(at, text.substr(below(text.size()), length));
                    break;
                default:
                    text.insert(at, 1, static_cast<char>(below(256)));
            }
        }
        return text;
    }

    /// The same signed text with its fields' ends elsewhere.
    std::string cutAnew() {
        const DllInfos& infos = m_genuine;
        const String sum = infos.version + infos.name + infos.signdate + infos.sha256;
        const std::string all(sum.view());
        std::array<std::size_t, 3> cuts = {below(all.size() + 1), below(all.size() + 1), below(all.size() + 1)};
        if (below(2) == 0) {  // the digest stays, or nothing of it would come further than that
            cuts[2] = all.size() - infos.sha256.length();
        }
        std::sort(cuts.begin(), cuts.end());
        const std::string fields = "<dll><version>" + all.substr(0, cuts[0]) + "</version><name>" +
                                   all.substr(cuts[0], cuts[1] - cuts[0]) + "</name><signdate>" +
                                   all.substr(cuts[1], cuts[2] - cuts[1]) + "</signdate><sha256>" +
                                   all.substr(cuts[2]) + "</sha256>";
        return fields + m_signature.substr(m_signature.find("<signature>"));
    }

    void judge() {
        try {
            const tessel::VerifiedComponent component = m_place.verify();
            const DllInfos& infos = component.infos;
            const bool bound = readAll(component.sealed.openPath().str()) == m_library &&
                               infos.signdate == m_genuine.signdate && infos.sha256 == m_genuine.sha256;
            const bool same = infos.version == m_genuine.version && infos.name == m_genuine.name;
            const bool sum = String(infos.version + infos.name) == String(m_genuine.version + m_genuine.name);
            ++(bound && same ? m_same : bound && sum ? m_cut : m_others);
        } catch (const tessel::Exception&) {
            ++m_refused;
        }
    }

    const Place& m_place;
    const std::string m_library = readAll(ATTACK_GENUINE);
    std::string m_signature;
    DllInfos m_genuine;
    std::mt19937 m_random{20261122};
    unsigned m_refused = 0;
    unsigned m_same = 0;
    unsigned m_cut = 0;
    unsigned m_others = 0;
};

// Exchanges.

struct Exchange {
    const char* name;
    const char* signedLibrary;
    void (*step)(const Place& place, bool foreign);
    bool mayRun;  // the signed library, when nobody disturbs
};

void put(const Place& place, const std::string& entry) { fs::rename(entry, place.file()); }

void writeInPlace(const Place& place, bool foreign) {
    static const std::string kTexts[] = {readAll(place.path("genuine")), readAll(place.path("foreign"))};
    const std::string& text = kTexts[foreign ? 1 : 0];
    const tessel::Descriptor file(::open(place.file().c_str(), O_WRONLY));
    if (::pwrite(file.get(), text.data(), text.size(), 0) < 0) {
        std::abort();
    }
}

const Exchange kExchanges[] = {{"renaming over it", ATTACK_GENUINE,
                                [](const Place& place, bool foreign) {
                                    fs::create_hard_link(place.path(foreign ? "foreign" : "genuine"),
                                                         place.path("next"));
                                    put(place, place.path("next"));
                                    fs::remove(place.path("next"));  // stays where both are one file
                                },
                                true},
                               {"writing into it", ATTACK_GENUINE, &writeInPlace, true},
                               {"symbolic links", ATTACK_GENUINE,
                                [](const Place& place, bool foreign) {
                                    fs::create_symlink(place.path(foreign ? "foreign" : "genuine"), place.path("next"));
                                    put(place, place.path("next"));
                                },
                                true},
                               {"neighbours by $ORIGIN", ATTACK_NEEDY,
                                [](const Place& place, bool foreign) {
                                    const std::string neighbour = place.path(fs::path(ATTACK_NEIGHBOUR).filename());
                                    fs::remove(neighbour);
                                    if (foreign) {
                                        fs::create_hard_link(place.path("foreign"), neighbour);
                                    }
                                },
                                false}};

struct Tally {
    unsigned genuine;
    unsigned refused;
    unsigned foreign;
};

/// One check and one load. Foreign code of an earlier round is the same process's, so it counts as this one's too.
void attempt(const Place& place, bool byPath, Tally& tally) {
    ::unsetenv("ATTACK_GENUINE_RAN");
    try {
        const tessel::VerifiedComponent component = place.verify();
        if (byPath) {
            const tessel::ModuleLoader loader(component.sealed.path());
        } else {
            const tessel::ModuleLoader loader(component.sealed);
        }
    } catch (const tessel::Exception&) {
    }
    const bool foreign = std::getenv("ATTACK_FOREIGN_RAN") != nullptr;
    ++(foreign ? tally.foreign : std::getenv("ATTACK_GENUINE_RAN") != nullptr ? tally.genuine : tally.refused);
}

template <class Work>
pid_t inChild(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        tessel::platform::endWithParent();
        work();
        ::_exit(0);
    }
    return child;
}

constexpr unsigned kLongest = 50;  // times the rounds asked for

bool exchange(const Exchange& kind, unsigned rounds, bool byPath) {
    const Place place;
    place.sign(readAll(kind.signedLibrary));
    fs::copy_file(place.file(), place.path("genuine"));
    std::string foreign = readAll(kind.mayRun ? ATTACK_FOREIGN : ATTACK_NEIGHBOUR);
    foreign.resize(std::max<std::size_t>(foreign.size(), fs::file_size(place.file())));
    writeAll(place.path("foreign"), foreign);
    const pid_t attacker = inChild([&] {
        for (bool turn = true;; turn = !turn) {
            kind.step(place, turn);
        }
    });
    auto* const tally =
        static_cast<Tally*>(::mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *tally = {};
    // Nothing is unloaded, and by its path a library is loaded once, so processes take turns.
    const unsigned each = byPath ? 1 : 50;
    // How the two meet is the scheduler's: rounds go on until what must come into play has done so.
    const auto inPlay = [&] { return tally->refused != 0 && (tally->genuine != 0 || !kind.mayRun); };
    for (unsigned done = 0; done < rounds || (!inPlay() && done < rounds * kLongest); done += each) {
        const pid_t victim = inChild([&] {
            for (unsigned i = 0; i < each; ++i) {
                attempt(place, byPath, *tally);
            }
        });
        ::waitpid(victim, nullptr, 0);
    }
    ::kill(attacker, SIGKILL);
    ::waitpid(attacker, nullptr, 0);
    std::printf("%s: %u ran what was signed, %u ran nothing, %u ran foreign code\n", kind.name, tally->genuine,
                tally->refused, tally->foreign);
    return tally->foreign == 0 && inPlay() && (kind.mayRun || tally->genuine == 0) &&
           tally->genuine + tally->refused >= rounds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: component_attack EDITS ROUNDS [by-path]\n");
        return 2;
    }
    constexpr int kDecimal = 10;
    const auto edits = static_cast<unsigned>(std::strtoul(argv[1], nullptr, kDecimal));
    const auto rounds = static_cast<unsigned>(std::strtoul(argv[2], nullptr, kDecimal));
    const Place place;
    bool held = Edits(place).run(edits);
    for (const Exchange& kind : kExchanges) {
        held = exchange(kind, rounds, argc > 3) && held;
    }
    return held ? 0 : 1;
}
