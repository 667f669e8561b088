// A plug-in that notes every call as it came, and answers as it is told. To be loaded behind the filter and, for the test's
// eyes, directly: both get the same library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct NotedCall {
    unsigned function;  // number in exported_functions.h
    uint64_t registers[6];
    double vectors[8];
    uint64_t stack[8];
    char written[256];  // the first bytes of what stspi_write_image was given
};

enum { recorded_most = 4096 };

struct Recording {
    size_t count;
    NotedCall calls[recorded_most];
    int32_t statuses[64];  // by function; the answer
    int entries;           // that a list gives before it ends
    int given;
    char message[64];  // sent to the session of stspi_open_server, if not empty
    void (*on_call)(const NotedCall &);
};

// What the library exports beside a plug-in's functions.
extern "C" Recording *recording();
