// The end of the process: libraries below are taken down then, and no thread may be amid one of them.
#pragma once

#include <chrono>
#include <memory>

namespace stsimage {

// When the library below has been set up, so that it is there still: at exit all that is open is given up, nothing more is begun from
// then on, and what is under way is waited for, so long at most. If all of it has ended, last() is called then. Whatever is told
// several times happens once, as early as one of them says. A process that is forked begins anew, and inherits this.
void heed_process_end(std::chrono::milliseconds longest, void (*last)());

// Keeps what may be worked on yet, but can never be waited for: by threads of the process that this one was forked from, or of a library
// that is shut down.
void keep_for_ever(std::shared_ptr<void> work) noexcept;

// Whether it has begun. Whoever asks while under way and hears no is waited for.
bool process_ends();

// Whether nothing is waited for any more: it has begun, or all that is open is being given up and that has lasted too long.
bool is_end_near();

// Counts a request, or what consists of several, as under way as long as it lives.
class UnderWay {
public:
    UnderWay();
    ~UnderWay();
    UnderWay(const UnderWay &) = delete;
    UnderWay &operator=(const UnderWay &) = delete;
};

}  // namespace stsimage
