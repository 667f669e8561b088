// Writers that are killed at random points of their work.
//
// Each writer stores images of random sizes one after the other, and tells over a pipe when it is about to close one and
// when closing has returned 0. After every kill the directory must hold each image that was told of as closed, as it was
// written; an image whose closing was under way may be there, whole, in its earlier or its new version; nothing else.
//
// STSIMAGE_KILL_ROUNDS in the environment sets the number of rounds (30), STSPI_SEED the moments.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "tests/support/seeds.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int writers = 3;
constexpr uint64_t names_per_writer = 12;  // few enough to be replaced often

// What a writer tells; small enough for a pipe to take it as a whole.
struct Report {
    enum Event : uint64_t { closing, closed, failed } event;
    uint64_t writer;
    uint64_t name;
    uint64_t seed;  // gives the content
};

std::string name_of(uint64_t writer, uint64_t name) {
    return "image " + std::to_string(writer) + "-" + std::to_string(name);
}

std::string content_of(uint64_t seed) { return pattern(1 + seed * 7919 % 150000, seed); }

void tell(int pipe, const Report &report) {
    if (write(pipe, &report, sizeof report) != static_cast<ssize_t>(sizeof report))
        _exit(2);
}

[[noreturn]] void write_until_killed(int pipe, uint64_t writer, uint64_t first_seed, bool leased) {
    for (uint64_t seed = first_seed;; ++seed) {
        Report report{Report::closing, writer, seed % names_per_writer, seed};
        const sts_image_definition_t definition = image_named(name_of(writer, report.name));
        const std::string data = content_of(seed);
        sts_image_handle_t image = nullptr;
        int32_t status;
        // Where a dead writer's claim is seen by its lease, that has to run out.
        while ((status = stsimg_create_image("pool", nullptr, "", &definition, 0, &image)) == STSIMG_E_BUSY && leased)
            usleep(50'000);
        for (size_t place = 0; status == 0 && place < data.size(); place += 9001) {
            uint64_t written;
            status = stsimg_write_image(image, nullptr, &data[place], std::min<size_t>(9001, data.size() - place),
                                        place, &written);
        }
        if (status == 0) {
            tell(pipe, report);
            status = stsimg_close_image(image);
        }
        report.event = status == 0 ? Report::closed : Report::failed;
        if (status != 0)
            std::fprintf(stderr, "a writer got %d: %s\n", status, stsimg_last_error());
        tell(pipe, report);
        if (status != 0)
            _exit(1);
    }
}

}  // namespace

using KilledWriter = ImageTest;

TEST_F(KilledWriter, LosesNothingThatWasClosed) {
    const char *setting = std::getenv("STSIMAGE_KILL_ROUNDS");
    const int rounds = setting != nullptr ? std::atoi(setting) : 30;
    std::map<std::string, uint64_t> closed;  // name -> seed of the content that was told of as closed last
    uint64_t images_closed = 0;
    fs::create_directory(root() / "pool");
    for (const uint32_t chosen : seeds_of("KilledWriter.LosesNothingThatWasClosed", 17)) {
        std::mt19937 random(chosen);
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(chosen));
            int ends[2];
            ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
            std::vector<pid_t> children;
            for (uint64_t writer = 0; writer < writers; ++writer) {
                const pid_t child = fork();
                if (child == 0) {
                    close(ends[0]);
                    write_until_killed(ends[1], writer, static_cast<uint64_t>(round) * 100000 + 1, is_in_engine());
                }
                children.push_back(child);
            }
            close(ends[1]);
            // Kills after a number of reports and a little time, so that they fall anywhere in a writer's work.
            const int reports_wanted = static_cast<int>(random() % 60);
            std::map<std::string, uint64_t> under_way;
            const auto take = [&](const Report &report) {
                const std::string name = name_of(report.writer, report.name);
                EXPECT_NE(report.event, Report::failed);
                if (report.event == Report::closing) {
                    under_way[name] = report.seed;
                } else {
                    closed[name] = report.seed;
                    under_way.erase(name);
                    ++images_closed;
                }
            };
            Report report;
            for (int taken = 0; taken<reports_wanted && ::read(ends[0], &report, sizeof report)> 0; ++taken)
                take(report);
            for (const pid_t child : children) {
                usleep(static_cast<useconds_t>(random() % 1500));
                kill(child, SIGKILL);
            }
            for (const pid_t child : children) {
                int status = 0;
                waitpid(child, &status, 0);
                EXPECT_TRUE(WIFSIGNALED(status)) << "a writer ended by itself, with " << status;
            }
            while (::read(ends[0], &report, sizeof report) > 0)
                take(report);
            close(ends[0]);

            size_t leftovers = 0;
            if (fs::exists(unfinished()))
                for ([[maybe_unused]] const auto &entry : fs::directory_iterator(unfinished()))
                    ++leftovers;
            EXPECT_LE(leftovers, size_t{writers}) << "more than one unfinished file for each writer";
            const std::vector<std::string> visible = names();
            EXPECT_FALSE(fs::exists(unfinished()));
            for (const auto &[name, seed] : closed) {
                const std::string data = content(name);
                if (data == content_of(seed))
                    continue;
                // Killed in the last moments of a close that had replaced the image already.
                const auto newer = under_way.find(name);
                EXPECT_TRUE(newer != under_way.end() && data == content_of(newer->second))
                    << name << ": " << data.substr(0, 20);
                if (newer != under_way.end())
                    closed[name] = newer->second;
            }
            for (const std::string &name : visible)
                if (closed.count(name) == 0) {
                    const auto newer = under_way.find(name);
                    EXPECT_TRUE(newer != under_way.end() && content(name) == content_of(newer->second)) << name;
                    if (newer != under_way.end())
                        closed[name] = newer->second;
                }
            ASSERT_FALSE(HasFailure());
        }
    }
    std::printf("%d rounds, %llu images closed, %zu there\n", rounds, static_cast<unsigned long long>(images_closed),
                closed.size());
    EXPECT_GT(images_closed, static_cast<uint64_t>(rounds));
}
