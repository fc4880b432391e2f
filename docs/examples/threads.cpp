#include <tessel/base/condition.h>
#include <tessel/base/fifonoblockpush.h>
#include <tessel/base/thread.h>

#include "expect.h"

using tessel::String;

class Printer final : public tessel::Thread {
public:
    Printer() : Thread("printer", 0, true) {}  // by that name in the log, in ps and in a debugger
    ~Printer() override {
        m_queue.close();
        join();  // main() uses the members
    }
    void print(const String& page) { m_queue.push(String(page)); }  // never waits, on any thread
    unsigned long waitForPages(unsigned count) {
        tessel::UniqueLock lock(m_mutex);
        m_printed.wait(lock, 5000, [&] { return m_pages >= count; });
        return m_bytes;
    }

protected:
    void main() override {  // an exception that leaves it is logged and ends this thread only
        for (String page; m_queue.pop(page, 10'000);) {
            const tessel::Lock lock(m_mutex);
            ++m_pages;
            m_bytes += page.length();
            m_printed.broadcast();
        }
    }

private:
    tessel::FifoNoBlockPush<String> m_queue;
    tessel::Mutex m_mutex;
    tessel::Condition m_printed;
    unsigned m_pages = 0;  // this and the next guarded by m_mutex
    unsigned long m_bytes = 0;
};

int main() {
    Printer printer;
    printer.launch();  // raises EThread where the system gives none
    printer.print("first");
    printer.print("second");
    expect(printer.waitForPages(2) == 11 && printer.isRunning() && printer.getName() == "printer");
}
