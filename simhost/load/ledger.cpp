#include "simhost/load/ledger.h"

#include <fmt/format.h>

#include <charconv>

namespace {

// The word: the state, whether there is an older content, which cell holds it, and a count of changes.
constexpr uint64_t had_content_bit = 0x100;
constexpr uint64_t cell_bit = 0x200;
constexpr uint64_t change_step = 0x400;

ImageState state_in(uint64_t word) { return static_cast<ImageState>(word & 0xff); }
size_t cell_in(uint64_t word) { return (word & cell_bit) != 0 ? 1 : 0; }

}  // namespace

bool ImageRecord::must_be_there() const {
    return state == ImageState::present ||
           (had_content && (state == ImageState::writing || state == ImageState::closing));
}

bool ImageRecord::must_not_be_there() const {
    return state == ImageState::never_written || state == ImageState::deleted || state == ImageState::failed ||
           (state == ImageState::writing && !had_content);
}

bool ImageRecord::is_under_way() const {
    return state == ImageState::writing || state == ImageState::closing || state == ImageState::deleting ||
           state == ImageState::spoilt;
}

bool ImageRecord::may_hold(const Content &other) const {
    const bool old = state == ImageState::present || (had_content && is_under_way());
    return (old && other == content) || (state == ImageState::closing && other == coming);
}

Ledger::Ledger(SharedArena &arena, uint64_t seed, uint64_t images)
    : m_seed(seed), m_images(images), m_entries(arena.make<Entry>(images)) {}

std::string Ledger::name(uint64_t image) const { return fmt::format("load-{:x}-{:07}", m_seed, image); }

uint64_t Ledger::image_of(const std::string &name) const {
    const size_t dash = name.rfind('-');
    uint64_t image = m_images;
    if (dash == std::string::npos)
        return m_images;
    std::from_chars(name.data() + dash + 1, name.data() + name.size(), image);
    return image < m_images && this->name(image) == name ? image : m_images;
}

ImageRecord Ledger::read(uint64_t image) const {
    const Entry &entry = m_entries[image];
    const auto content_of = [](const Cell &cell) {
        return Content{cell.image.load(std::memory_order_acquire), cell.generation.load(std::memory_order_acquire),
                       cell.size.load(std::memory_order_acquire)};
    };
    ImageRecord record;
    // The cell that is being filled may change while the word stands still, but only as long as it means nothing.
    do {
        record.word = entry.word.load(std::memory_order_acquire);
        record.content = content_of(entry.cells[cell_in(record.word)]);
        record.coming = content_of(entry.cells[1 - cell_in(record.word)]);
    } while (record.word != entry.word.load(std::memory_order_acquire));
    record.state = state_in(record.word);
    record.had_content = (record.word & had_content_bit) != 0;
    return record;
}

void Ledger::change(uint64_t image, ImageState state, bool had_content, bool other_cell) {
    Entry &entry = m_entries[image];
    const uint64_t old = entry.word.load(std::memory_order_relaxed);
    uint64_t word = (old & ~(change_step - 1)) + change_step;
    word |= static_cast<uint64_t>(state) | (had_content ? had_content_bit : 0);
    word |= (old & cell_bit) ^ (other_cell ? cell_bit : 0);
    entry.word.store(word, std::memory_order_release);
}

void Ledger::begin_writing(uint64_t image, const Content &content) {
    Entry &entry = m_entries[image];
    const uint64_t old = entry.word.load(std::memory_order_relaxed);
    Cell &cell = entry.cells[1 - cell_in(old)];
    cell.image.store(content.image, std::memory_order_release);
    cell.generation.store(content.generation, std::memory_order_release);
    cell.size.store(content.size, std::memory_order_release);
    change(image, ImageState::writing, state_in(old) == ImageState::present, false);
}

void Ledger::begin_closing(uint64_t image) { change(image, ImageState::closing, read(image).had_content, false); }

void Ledger::begin_deleting(uint64_t image) { change(image, ImageState::deleting, true, false); }

void Ledger::begin_spoilt(uint64_t image) { change(image, ImageState::spoilt, read(image).had_content, false); }

void Ledger::acknowledge_content(uint64_t image) { change(image, ImageState::present, false, true); }

void Ledger::acknowledge_deletion(uint64_t image) { change(image, ImageState::deleted, false, false); }

void Ledger::keep_as_it_was(uint64_t image) {
    change(image, read(image).had_content ? ImageState::present : ImageState::failed, false, false);
}
