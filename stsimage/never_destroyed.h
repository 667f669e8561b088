// What lasts as long as the process.
#pragma once

namespace stsimage {

// An object that threads may use while the process ends, and static objects are destroyed.
template <class Object>
class NeverDestroyed {
public:
    NeverDestroyed() : object() {}
    NeverDestroyed(const NeverDestroyed &) = delete;
    NeverDestroyed &operator=(const NeverDestroyed &) = delete;
    ~NeverDestroyed() {}  // not the object

    Object &operator*() { return object; }
    Object *operator->() { return &object; }

private:
    union {
        Object object;
    };
};

}  // namespace stsimage
