// What lets all hosts see that a process lives, and what it reads: small objects that it writes again and again.
//
// How old they are is told by the service, which compares its own clock with itself.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "stsimage/s3/bucket.h"
#include "stsimage/s3/name_record.h"

namespace stsimage::s3 {

// For any thread. Lives until the process ends.
class Presence {
public:
    // The sweep is called now and then in a thread of its own, as long as something is written or read.
    Presence(Bucket &bucket, std::string process, std::function<void()> sweep);

    const std::string &process() const { return own_process; }

    // Lets the others see that this process lives, as long as it has drafts. Ends by itself when it dies.
    Answer announce();

    // Whether the writer of a draft lives. A draft that this process has no more has no writer.
    Answer ask_whether_lives(const Claim &claim, bool &out_lives);

    void note_draft(const std::string &id);
    void forget_draft(const std::string &id);

    // An image that is open for reading is not cleared away, though it may have lost its name.
    void note_reader(const std::string &id);
    void forget_reader(const std::string &id);

    // Whether any process reads an image, as far as it has told: within a third of its lease.
    Answer ask_whether_read(const std::string &id, bool &out_read);

    // Takes away what processes that died long ago have left.
    void clear_dead();

private:
    using Clock = std::chrono::steady_clock;

    struct Reading {
        int readers = 0;
        Clock::time_point since;
        bool is_told = false;
    };

    std::string reader_key(const std::string &id) const;
    void start_thread();
    void keep_telling();
    void start_sweeping();
    bool has_nothing_to_tell() const { return drafts.empty() && readings.empty(); }
    void tell_readings();

    Bucket &bucket;
    const std::string own_process;
    const std::function<void()> sweep;
    const std::chrono::seconds lease;
    const std::chrono::milliseconds interval;

    std::mutex mutex;
    std::set<std::string> drafts;
    std::map<std::string, Reading> readings;
    bool is_thread_running = false;
    std::atomic<bool> is_sweeping{false};
    bool is_announced = false;
    Clock::time_point announced_at;
};

}  // namespace stsimage::s3
