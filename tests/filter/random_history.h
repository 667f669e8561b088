// Random calls through a plug-in, the same ones for the same seed, and what a caller sees of them.
#pragma once

#include <cstdint>
#include <random>
#include <sstream>
#include <string>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

class RandomHistory {
public:
    // library: as dlopen gave it. thread: stands in all names, so that histories of several threads share nothing.
    // A plug-in may remember the session: keep the object until all of them have run.
    RandomHistory(void *library, uint64_t seed, unsigned thread);
    RandomHistory(const RandomHistory &) = delete;
    RandomHistory &operator=(const RandomHistory &) = delete;

    // Makes so many calls; then closes what is open.
    void run(unsigned calls);

    // Messages are not noted: a plug-in may send one thread's to another one's session.
    void ignore_messages();

    // A line a call: name, status, and what was stored for the caller, but for what the file system decides.
    std::string seen() const { return m_seen.str(); }

private:
    void call_server();
    void call_lsu();
    void call_image();
    void call_data();
    void call_list_of_images();
    void call_another();
    void close_all();

    uint64_t draw(uint64_t below) { return m_engine() % below; }
    bool rarely() { return draw(16) == 0; }
    stsp_lsu_v7_t lsu();
    sts_image_definition definition();
    template <class Function>
    Function *entry(const char *name) const;
    void saw(const char *name, int32_t status, const std::string &stored = "");

    void *m_library;
    std::mt19937_64 m_engine;
    std::string m_thread;
    std::ostringstream m_seen;
    sts_session_def_v7_t m_session = {};
    sts_server_handle_t m_server = nullptr;
    sts_lsu_list_handle_t m_lsus = nullptr;
    sts_image_handle_t m_image = nullptr;
    sts_image_list_handle_t m_images = nullptr;
};
