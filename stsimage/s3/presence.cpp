#include "stsimage/s3/presence.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "stsimage/process_end.h"
#include "stsimage/random_id.h"
#include "stsimage/s3/background.h"
#include "stsimage/s3/parallel_requests.h"

namespace stsimage::s3 {

namespace {

// So old is surely nothing that lives.
constexpr std::time_t seconds_until_forgotten = 86400;

// Dates are told in whole seconds.
constexpr std::time_t coarseness = 1;

std::string writer_key(const std::string &process) { return "writers/" + process; }
std::string readers_of(const std::string &id) { return "readers/" + id + "/"; }

}  // namespace

Presence::Presence(Bucket &own_bucket, std::string process, std::function<void()> own_sweep)
    : bucket(own_bucket),
      own_process(std::move(process)),
      sweep(std::move(own_sweep)),
      lease(bucket.settings().lease_seconds),
      interval(std::chrono::milliseconds(lease) / 3) {}

// Ends in the lease, for whoever judges it.
std::string Presence::reader_key(const std::string &id) const {
    return readers_of(id) + own_process + "." + std::to_string(lease.count());
}

Answer Presence::announce() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (is_announced && Clock::now() - announced_at < interval)
            return {};
    }
    const Clock::time_point begun = Clock::now();
    Answer answer = bucket.put(writer_key(own_process), "");
    if (answer.ok()) {
        const std::lock_guard<std::mutex> lock(mutex);
        is_announced = true;
        announced_at = begun;
    }
    return answer;
}

Answer Presence::ask_whether_lives(const Claim &claim, bool &out_lives) {
    if (claim.process == own_process) {
        const std::lock_guard<std::mutex> lock(mutex);
        out_lives = drafts.count(claim.id) != 0;
        return {};
    }
    Answer answer = bucket.get(writer_key(claim.process));
    out_lives = answer.ok() && answer.age() <= claim.lease_seconds + coarseness;
    if (answer.error == ENOENT)
        answer.error = 0;
    return answer;
}

void Presence::note_draft(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    drafts.insert(id);
    start_thread();
}

void Presence::forget_draft(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    drafts.erase(id);
}

void Presence::note_reader(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    Reading &reading = readings[id];
    if (reading.readers++ == 0)
        reading.since = Clock::now();
    start_thread();
}

void Presence::forget_reader(const std::string &id) {
    bool is_told = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = readings.find(id);
        if (found == readings.end() || --found->second.readers > 0)
            return;
        is_told = found->second.is_told;
        readings.erase(found);
    }
    if (is_told)
        bucket.remove(reader_key(id));
}

Answer Presence::ask_whether_read(const std::string &id, bool &out_read) {
    out_read = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        out_read = readings.count(id) != 0;
    }
    if (out_read)
        return {};
    ListPage page;
    Answer answer = bucket.list(readers_of(id), "", "", page);
    const std::time_t now = answer.date();
    for (const ListedObject &object : page.objects) {
        const std::string_view note = std::string_view(object.key).substr(readers_of(id).size());
        const size_t point = std::min(note.find('.'), note.size());
        if (!is_random_id(note.substr(0, point)))
            continue;
        const long lease_of_reader = point < note.size() ? std::strtol(note.data() + point + 1, nullptr, 10) : 0;
        if (now <= object.modified + lease_of_reader + coarseness)
            out_read = true;
        else
            bucket.remove(object.key);
    }
    return answer;
}

void Presence::clear_dead() {
    ListPage page;
    const Answer answer = bucket.list(writer_key(""), "", "", page);
    const std::time_t now = answer.date();
    for (const ListedObject &object : page.objects)
        if (now > object.modified + seconds_until_forgotten &&
            is_random_id(std::string_view(object.key).substr(writer_key("").size())))
            bucket.remove(object.key);
}

// With the mutex. A process that cannot have one more thread goes on without: it may seem dead then.
void Presence::start_thread() {
    if (is_thread_running)
        return;
    const WithoutSignals without_signals;
    try {
        std::thread([this] { keep_telling(); }).detach();
        is_thread_running = true;
    } catch (const std::system_error &) {
        is_thread_running = false;
    }
}

void Presence::keep_telling() {
    Clock::time_point swept = Clock::now();
    std::unique_lock<std::mutex> lock(mutex);
    while (!process_ends()) {
        lock.unlock();
        std::this_thread::sleep_for(interval);
        const UnderWay round;
        lock.lock();
        if (process_ends() || (has_nothing_to_tell() && Clock::now() - announced_at > lease))
            break;
        const bool is_writing = !drafts.empty();
        lock.unlock();
        try {
            if (is_writing)
                announce();
            tell_readings();
            if (Clock::now() - swept >= lease) {
                start_sweeping();
                swept = Clock::now();
            }
        } catch (const std::exception &) {
            // Another round will come.
        }
        lock.lock();
    }
    is_thread_running = false;
}

// In a thread of its own, since clearing may take minutes where much was deleted, in which this process must be seen to live.
void Presence::start_sweeping() {
    if (is_sweeping.exchange(true))
        return;
    const WithoutSignals without_signals;
    try {
        std::thread([this] {
            const UnderWay round;
            try {
                if (!process_ends())
                    sweep();
            } catch (const std::exception &) {
                // What was not cleared now is cleared another time.
            }
            is_sweeping = false;
        }).detach();
    } catch (const std::exception &) {
        is_sweeping = false;
    }
}

void Presence::tell_readings() {
    std::vector<std::string> lasting;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (auto &[id, reading] : readings)
            if (Clock::now() - reading.since >= interval) {
                reading.is_told = true;
                lasting.push_back(id);
            }
    }
    ParallelRequests notes;
    for (const std::string &id : lasting)
        notes.start([this, key = reader_key(id)] { return bucket.put(key, ""); });
}

}  // namespace stsimage::s3
