// What a plug-in prints: in the journal, inside the call that printed it, and where it was to go.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "journal/calls/call_stream.h"
#include "tests/filter/standard_calls.h"

using namespace filter;

namespace {

// Descriptor 1 leads to a file while it lives.
class PrintedToFile {
public:
    explicit PrintedToFile(std::string path) : m_path(std::move(path)), m_before(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~PrintedToFile() {
        std::fflush(stdout);
        dup2(m_before, STDOUT_FILENO);
        close(m_before);
    }
    PrintedToFile(const PrintedToFile &) = delete;
    PrintedToFile &operator=(const PrintedToFile &) = delete;

    std::string text() const {
        std::fflush(stdout);
        std::ifstream stream(m_path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    std::string m_path;
    int m_before;
};

// "entry point: what it printed" of each call that printed something.
std::vector<std::string> printed_inside_calls(const Filtered &filtered) {
    journal::Reader reader(filtered.directory.path() + "/journal");
    journal::Events events(reader);
    std::vector<Mask> none;
    CallStream stream(events, none);
    std::vector<std::string> printed;
    for (RecordedCall call; stream.next(call);)
        if (call.json.contains("output"))
            for (const Json &text : call.json["output"])
                printed.push_back(call.entry_point + ": " + text.get<std::string>());
    return printed;
}

using Lines = std::vector<std::string>;

void print_by_every_way(const NotedCall &call) {
    std::printf("printf %u\n", call.function);
    std::cout << "cout\n";
    std::fflush(stdout);
    EXPECT_EQ(write(STDOUT_FILENO, "write\n", 6), 6);
}

}  // namespace

TEST(Output, IsInTheJournalInsideItsCallAndGoesOnItsWay) {
    const Filtered filtered("journal $DIR/journal output");
    const PrintedToFile printed(filtered.directory.path() + "/printed");
    filtered.recorded->on_call = print_by_every_way;
    std::printf("before\n");  // still in the process's buffer when the call begins
    ENTRY(filtered, stspi_unmount_lsu)();
    std::printf("between\n");
    ENTRY(filtered, stspi_claim)("Kelvarpool:host");
    const std::string unmounted = "printf " + std::to_string(fn_stspi_unmount_lsu) + "\ncout\nwrite\n";
    const std::string claimed = "printf " + std::to_string(fn_stspi_claim) + "\ncout\nwrite\n";
    EXPECT_EQ(printed.text(), "before\n" + unmounted + "between\n" + claimed);
    EXPECT_EQ(printed_inside_calls(filtered), (Lines{"stspi_unmount_lsu: " + unmounted, "stspi_claim: " + claimed}));
}

TEST(Output, IsLeftAloneUnlessTheJournalIsToHaveIt) {
    const Filtered filtered("journal $DIR/journal");
    const PrintedToFile printed(filtered.directory.path() + "/printed");
    filtered.recorded->on_call = print_by_every_way;
    ENTRY(filtered, stspi_unmount_lsu)();
    EXPECT_EQ(printed.text().substr(0, 6), "printf");
    EXPECT_EQ(printed_inside_calls(filtered), Lines{});
}

TEST(Output, LongerThanARecordIsKeptWhole) {
    const Filtered filtered("journal $DIR/journal output");
    const PrintedToFile printed(filtered.directory.path() + "/printed");
    filtered.recorded->on_call = [](const NotedCall &) {
        for (int i = 0; i < 20000; ++i)
            std::printf("line %d\n", i);
    };
    ENTRY(filtered, stspi_unmount_lsu)();
    std::string told;
    for (const std::string &piece : printed_inside_calls(filtered))
        told += piece.substr(std::string("stspi_unmount_lsu: ").size());
    EXPECT_GT(told.size(), 200000U);
    EXPECT_EQ(told, printed.text());
}

TEST(Output, OfAClosedDescriptorIsNobodys) {
    const Filtered filtered("journal $DIR/journal output");
    const int before = dup(STDOUT_FILENO);
    std::fflush(stdout);
    close(STDOUT_FILENO);
    EXPECT_EQ(ENTRY(filtered, stspi_unmount_lsu)(), 0);
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), -1);
    dup2(before, STDOUT_FILENO);
    close(before);
}

TEST(Output, OfAProgramThatAForkInsideACallStartsIsItsOwn) {
    const Filtered filtered("journal $DIR/journal output");
    const PrintedToFile printed(filtered.directory.path() + "/printed");
    filtered.recorded->on_call = [](const NotedCall &) {
        const pid_t child = fork();
        if (child == 0)
            _exit(write(STDOUT_FILENO, "child\n", 6) == 6 ? 0 : 1);
        int status = 1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        std::printf("parent\n");
    };
    ENTRY(filtered, stspi_unmount_lsu)();
    EXPECT_EQ(printed.text(), "child\nparent\n");
    EXPECT_EQ(printed_inside_calls(filtered), Lines{"stspi_unmount_lsu: parent\n"});
}
