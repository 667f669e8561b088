// Why the calling thread's latest call failed.
//
// Every function of the library that can fail returns a status and, where the trouble is found, leaves a line that says
// what was wrong with what. The text lives in a plain buffer of the thread: telling of a failure never allocates, and no
// destructor keeps the library loaded.
#pragma once

#include <cstddef>
#include <cstdint>

namespace stsimage {

// Keeps the text and returns the status.
[[gnu::format(printf, 2, 3)]] int32_t fail(int32_t status, const char *format, ...);

// The same for a system call: adds the meaning of the errno value and derives the status from it.
[[gnu::format(printf, 2, 3)]] int32_t fail_system(int error, const char *format, ...);

// Says of the latest failure that doing the same again would not help, whatever the system told. Returns the status.
int32_t final_failure(int32_t status);

// What fail_system left is told once more, with the meaning that stands in the text.
void tell_failure_again(const char *text, int error);

const char *last_error();

// Room for a line with two quoted texts of any length; what does not fit is cut.
constexpr size_t longest_failure = 4608;

// The failure that was the latest one when this was made, to be told again once a later one has been overcome.
class EarlierFailure {
public:
    EarlierFailure();
    void tell_again() const;

private:
    char text[longest_failure];
    int error;
};

// The errno value of the latest failure, 0 when that did not come from a system call.
int last_system_error();

}  // namespace stsimage
