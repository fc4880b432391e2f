#include <tessel/base/errors.h>
#include <tessel/base/gcobject.h>

#include "expect.h"

using tessel::gc::Pointer;

class Door : public tessel::gc::ObjectDelete {  // deleted by whoever drops the last reference, on any thread
public:
    explicit Door(int& open) noexcept : m_open(open) { ++m_open; }
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;
    ~Door() override { --m_open; }
    [[nodiscard]] const char* getClassName() const override { return "Door"; }

private:
    int& m_open;
};

int main() {
    int open = 0;
    Pointer<Door> front = new Door(open);
    Pointer<Door> same = front;
    expect(open == 1 && front->gcRef() == 2 && front == same);

    const Door* const registered = front.uget();  // a plain pointer, as a registry keeps it
    expect(registered->gcAddRef(true));           // takes a reference only where the object still lives
    expect(!registered->gcRemoveRef());

    front.clear();
    same = nullptr;
    expect(open == 0 && !same);
    try {
        (void)same->gcRef();
        expect(false);
    } catch (const tessel::NullException& caught) {  // never a crash
        expect(caught.toString() == "tessel::NullException:gcobject:25");
    }
}
