#include "simhost/load/workload.h"

const char *operation_name(Operation operation) {
    static constexpr const char *names[] = {
#define LOAD_NAME(name, what) #name,
        LOAD_OPERATIONS(LOAD_NAME)
#undef LOAD_NAME
    };
    return names[static_cast<size_t>(operation)];
}

const char *operation_meaning(Operation operation) {
    static constexpr const char *meanings[] = {
#define LOAD_MEANING(name, what) what,
        LOAD_OPERATIONS(LOAD_MEANING)
#undef LOAD_MEANING
    };
    return meanings[static_cast<size_t>(operation)];
}

Workload::Workload() : mix{30, 25, 15, 10, 4, 10, 4, 0, 2} {}

const std::vector<Profile> &load_profiles() {
    static const std::vector<Profile> profiles = {
        {"nightly",
         "a backup window: large images come in over many streams, old ones expire, little is read",
         {{"streams", "8"},
          {"images", "8"},
          {"mix", "backup=60,verify=10,expire=15,list=2,properties=10,session=3"},
          {"sizes", "1M..64M"},
          {"duration", "5m"}}},
        {"many-small",
         "very many small images, as of databases and mail: calls that name images are what costs",
         {{"streams", "8"},
          {"images", "2000"},
          {"mix", "backup=50,restore=15,expire=10,list=1,properties=22,session=2"},
          {"sizes", "1K*5,4K..64K*4,1M*1"},
          {"chunk", "64K"},
          {"duration", "5m"}}},
        {"restore-storm",
         "the morning after: everybody reads at once while a few still write",
         {{"streams", "16"},
          {"images", "8"},
          {"mix", "backup=5,restore=70,verify=20,list=1,properties=4"},
          {"sizes", "256K..32M"},
          {"duration", "5m"}}},
        {"soak",
         "a little of everything at a steady rate, for as long as you can wait: for leaks",
         {{"processes", "2"},
          {"streams", "4"},
          {"images", "32"},
          {"mix", "backup=25,restore=20,verify=15,expire=12,list=4,properties=12,copy=6,session=6"},
          {"sizes", "1K..1M"},
          {"rate", "100"},
          {"duration", "24h"}}},
    };
    return profiles;
}
