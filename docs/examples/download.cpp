#include <tessel/base/file.h>
#include <tessel/curl/curlwrapper.h>

#include "expect.h"
#include "localserver.h"

using tessel::String;

int main() {
    tessel::CurlSession session;  // shares cookies, DNS cache and TLS sessions; derive from it to choose a proxy
    session.setUserAgent("shop/1.0");
    session.setWriterLimit(1024 * 1024);

    tessel::RequestInfo info;
    {
        const LocalServer server("the whole file");
        tessel::File file;
        expect(file.open("example.download", tessel::File::kOut));
        expect(session.request(String(server.url), file, info));  // true: a whole answer, whatever its status
    }
    expect(info.getResponseHeader().getResponseCode() == 200);
    expect(tessel::File::readAllFile("example.download") == "the whole file");
    tessel::File::remove("example.download");

    tessel::Memory body;
    expect(!session.request("http://127.0.0.1:1/", body, info));  // nothing is raised
    expect(info.failure() == tessel::TransferFailure::Refused && info.format().starts("Code: 7("));
}
