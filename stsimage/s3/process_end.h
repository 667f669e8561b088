// The end of the process: libraries below are taken down then, and no thread may be amid a request, nor amid work between requests
// that needs them.
#pragma once

#include <memory>

namespace stsimage::s3 {

// Once, when libcurl has been set up: at exit requests are refused from then on, and those under way given up and waited for, as is
// other work under way. A process that is forked begins anew.
void heed_process_end();

// Keeps in a forked process what threads of its parent were at work on: nothing here would ever end that.
void leave_to_parent(std::shared_ptr<void> work);

// Whether it has begun. Whoever asks while under way and hears no is waited for.
bool process_ends();

// Counts a request, or what consists of several, as under way as long as it lives.
class UnderWay {
public:
    UnderWay();
    ~UnderWay();
    UnderWay(const UnderWay &) = delete;
    UnderWay &operator=(const UnderWay &) = delete;
};

}  // namespace stsimage::s3
