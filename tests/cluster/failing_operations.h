// Operations of librados that fail when a test says so.
//
// The program that links this defines the calls that the store makes itself, and hands them on; the dynamic linker finds it
// before librados. Only operations of the calling thread inside a FailingOperations scope are counted.
#pragma once

namespace failing_operations {

enum class How {
    refused,     // not done: EIO
    lost,        // not done, and nobody said so: ETIMEDOUT
    unanswered,  // done, and nobody said so: ETIMEDOUT
};

// While one lives, the n-th operation fails, or that one and all later ones. The first is 1; with 0 they are only counted.
class Scope {
public:
    Scope(int n, How how, bool from_then_on);
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;
    ~Scope();

    static int counted();
};

}  // namespace failing_operations
