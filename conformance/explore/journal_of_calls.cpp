#include "conformance/explore/journal_of_calls.h"

#include <stdexcept>

#include "journal/writer.h"

namespace conformance {

namespace {

class JournalOfCalls : public CallListener {
public:
    explicit JournalOfCalls(std::unique_ptr<journal::Writer> writer) : writer_(std::move(writer)) {}

    void entering(const std::string &entry_point, const uint64_t *words) override {
        call_ = writer_->enter(journal::find_entry_point(entry_point), words);
    }
    void left(const std::string &entry_point, const uint64_t *words, int32_t status) override {
        writer_->leave(call_, journal::find_entry_point(entry_point), words, status);
    }
    void message(int32_t level, const char *text) override { writer_->log(call_, level, text); }

private:
    std::unique_ptr<journal::Writer> writer_;
    journal::CallNumber call_ = 0;
};

}  // namespace

std::unique_ptr<CallListener> journal_of_calls(const std::string &path, const std::string &plugin, uint64_t seed) {
    journal::WriterOptions options;
    options.path = path;
    options.mode = journal::Mode::growing;
    options.fresh = true;
    std::string error;
    int number = 0;
    auto writer = journal::Writer::open(options, {"stspi-conformance explore", plugin, "", seed, 9}, error, number);
    if (!writer)
        throw std::runtime_error(error);
    return std::make_unique<JournalOfCalls>(std::move(writer));
}

}  // namespace conformance
