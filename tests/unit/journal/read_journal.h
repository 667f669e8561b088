// Writes and reads journals for tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/private_directory.h"
#include "journal/events.h"
#include "journal/writer.h"

struct TempDirectory : PrivateDirectory {
    TempDirectory() : PrivateDirectory("journal-", AtEnd::remove_all) {}
};

// The word that an argument register carries for a pointer.
inline uint64_t word_of(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

journal::WriterOptions growing(const std::string &path, uint64_t limit = 64 << 20);
journal::WriterOptions ring(const std::string &path, uint64_t limit);

// Ends the test's process with the reason when it cannot be opened.
std::unique_ptr<journal::Writer> open_writer(const journal::WriterOptions &options, const journal::Origin &origin = {});

// A whole call that carries a number: stspi_ioctl with that command.
void record_call(journal::Writer &writer, int32_t number, int32_t status = 0);

struct ReadRecord {
    journal::RecordHead head;
    uint64_t place;
    std::string items;
    // From its event:
    unsigned process;
    unsigned thread;
    uint64_t call;
    bool entered;
};

struct ReadJournal {
    std::vector<ReadRecord> records;
    std::vector<journal::RunningCall> running;
    journal::Damage damage;
    journal::FileFacts facts;

    std::vector<ReadRecord> of_kind(journal::RecordKind kind) const;
};

ReadJournal read_journal(const std::string &path);
ReadJournal read_bytes(const std::string &bytes);

// The item of an argument, or of a field of it; an item of type 0 when there is none. Its bytes are the record's.
journal::ItemView item_of(const ReadRecord &record, unsigned argument, unsigned field = journal::NO_FIELD);

// The number of a call made by record_call, from its entering record.
int32_t call_number(const ReadRecord &record);

std::string file_bytes(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);
