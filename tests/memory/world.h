// What one call needs around it while memory runs out, and all that the call told.
#pragma once

#include <string>

#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/temp_directory.h"

// A disk array "Kelvarpool" and a Copan array "copan" with their files. What a call tells is kept without asking for memory.
class World {
public:
    World();
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    // ---- before the call

    void open(const char *server_name);
    void create();  // a disk array for the hosts h1 and h2
    void name_lsu(const char *name);

    // ---- after the call

    // Every out-argument, every message and what reached the image library, as one text.
    std::string told() const;
    // Whether each entering line has its leaving line.
    bool is_traced_to_the_end() const;
    // Whether nothing was made in the directory.
    bool is_untouched() const;
    // Releases what the call stored and forgets what it told.
    void forget();

    ConfigDirectory config;
    TempDirectory directory;
    std::string mount_point;
    sts_session_def_v7_t session{};
    sts_host_t hosts[2] = {};

    sts_server_handle_t server = nullptr;
    sts_lsu_list_handle_t list = nullptr;
    stsp_lsu_v7_t lsu{};

    sts_server_handle_t out_server = nullptr;
    sts_lsu_list_handle_t out_list = nullptr;
    char out_name[STS_LSU_NAME_SIZE];
    char out_result[STS_MOUNT_RESULT_SIZE];
    sts_server_info_t server_info;
    sts_lsu_info_v9_t lsu_info;
    uint64_t out_bytes = 0;

private:
    void add(const char *text);
    static void record(uint64_t context, const char *text, int32_t level);

    size_t m_used = 0;
    char m_messages[16384];
};
