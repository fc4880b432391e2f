// SPDX-License-Identifier: Apache-2.0
// Fetches one URL into a file, as a component archive is fetched. The certificate is not checked: the peer in
// download.sh runs with -k.

#include <cstdio>

#include "libs/base/file.h"
#include "libs/curl/curlwrapper.h"

namespace {

struct Session : tessel::CurlSession {
    bool verifySSL(const tessel::String&) override { return false; }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench_fetch URL FILE\n");
        return 2;
    }
    tessel::File file;
    if (!file.open(argv[2], tessel::File::kOut)) {
        std::fprintf(stderr, "bench_fetch: cannot write %s\n", argv[2]);
        return 1;
    }
    Session session;
    tessel::RequestInfo info;
    if (!session.request(argv[1], file, info)) {
        std::fprintf(stderr, "bench_fetch: %s\n", info.format().str());
        return 1;
    }
    file.close();
    return 0;
}
