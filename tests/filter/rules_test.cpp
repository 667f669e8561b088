// When rules fire, and how several of them combine.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "filter/ledger/ledger.h"
#include "tests/filter/standard_calls.h"

using namespace filter;

namespace {

// What a number of calls of one function answer.
std::vector<int32_t> answers(const Filtered &filtered, unsigned function, int calls) {
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    std::vector<int32_t> all;
    all.reserve(static_cast<size_t>(calls));
    for (int i = 0; i < calls; ++i)
        all.push_back(make(filtered, function, standard_call(function, memory, open)));
    return all;
}

std::vector<int32_t> answers(const std::string &rules, unsigned function, int calls) {
    return answers(Filtered(rules), function, calls);
}

using Statuses = std::vector<int32_t>;

constexpr unsigned writes = fn_stspi_write_image;

uint64_t fired(const Filtered &filtered, size_t rule) {
    return Ledger::read(filtered.settings_path() + ".ledger")->layout().rules[rule].fired;
}
uint64_t matched(const Filtered &filtered, size_t rule) {
    return Ledger::read(filtered.settings_path() + ".ledger")->layout().rules[rule].matched;
}

}  // namespace

TEST(Window, CallIsTheNthThatMatches) {
    EXPECT_EQ(answers("on write_image call 3 answer 5", writes, 5), (Statuses{0, 0, 5, 0, 0}));
    EXPECT_EQ(answers("on write_image calls 2..3 answer 5", writes, 5), (Statuses{0, 5, 5, 0, 0}));
    EXPECT_EQ(answers("on write_image calls 4.. answer 5", writes, 5), (Statuses{0, 0, 0, 5, 5}));
    EXPECT_EQ(answers("on write_image after call 3 answer 5", writes, 5), (Statuses{0, 0, 0, 5, 5}));
    EXPECT_EQ(answers("on write_image first answer 5", writes, 3), (Statuses{5, 0, 0}));
    EXPECT_EQ(answers("on write_image first 2 answer 5", writes, 3), (Statuses{5, 5, 0}));
    EXPECT_EQ(answers("on write_image every 2 answer 5", writes, 5), (Statuses{0, 5, 0, 5, 0}));
    EXPECT_EQ(answers("on write_image calls 3..6 every 2 answer 5", writes, 7), (Statuses{0, 0, 0, 5, 0, 5, 0}));
}

TEST(Window, FileOpensAndClosesIt) {
    const Filtered filtered("on write_image while $DIR/fault answer 5");
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{0});
    filtered.make_file("fault");
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{5});
    unlink((filtered.directory.path() + "/fault").c_str());
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{0});
}

TEST(Window, TimeRunsFromTheFirstMatch) {
    EXPECT_EQ(answers("on write_image for 1h answer 5", writes, 2), (Statuses{5, 5}));
    EXPECT_EQ(answers("on write_image after 1h answer 5", writes, 2), (Statuses{0, 0}));
    EXPECT_EQ(answers("on write_image for 1ns answer 5\non write_image delay 1ms", writes, 2), (Statuses{5, 0}));
}

TEST(Window, CountsByThread) {
    const Filtered filtered("on write_image call 1 each thread answer 5");
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    for (int i = 0; i < 3; ++i)
        std::thread([&] {
            EXPECT_EQ(make(filtered, writes, standard_call(writes, memory, open)), 5);
            EXPECT_EQ(make(filtered, writes, standard_call(writes, memory, open)), 0);
        }).join();
    EXPECT_EQ(fired(filtered, 0), 3U);
}

TEST(Window, CountsByProcessOnBothSidesOfAFork) {
    const Filtered filtered("on write_image call 2 each process answer 5\non write_image call 4 answer 6");
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    const auto write = [&] { return make(filtered, writes, standard_call(writes, memory, open)); };
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(write(), 5);
    const pid_t child = fork();
    if (child == 0)
        _exit(write() == 0 && write() == 5 ? 0 : 1);  // all have seen four calls by then, but this answer comes first
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(matched(filtered, 0), 5U);
}

TEST(Selector, NamesComeFromArgumentsAndFromHandles) {
    EXPECT_EQ(answers("on write_image image \"nightly-*\" answer 5", writes, 1), Statuses{5});
    EXPECT_EQ(answers("on write_image image \"weekly-*\" answer 5", writes, 1), Statuses{0});
    EXPECT_EQ(answers("on write_image lsu \"pool1:*\" server some:* host host1 answer 5", writes, 1), Statuses{5});
    EXPECT_EQ(answers("on write_image host host2 answer 5", writes, 1), Statuses{0});
    EXPECT_EQ(answers("on create_server host host2 answer 5", fn_stspi_create_server, 1), Statuses{5});
    EXPECT_EQ(answers("on mount_lsu mount /mnt/* answer 5", fn_stspi_mount_lsu, 1), Statuses{5});
    EXPECT_EQ(answers("on mount_lsu mount /srv/* answer 5", fn_stspi_mount_lsu, 1), Statuses{0});
}

TEST(Selector, EntryOfAList) {
    EXPECT_EQ(answers("on list_lsu lsu entry2 answer 5", fn_stspi_list_lsu, 4),
              (Statuses{0, 5, 0, STS_E_NO_MORE_ENTRIES}));
    EXPECT_EQ(answers("on list_image lsu pool1* image entry3 answer 5", fn_stspi_list_image, 4),
              (Statuses{0, 0, 5, STS_E_NO_MORE_ENTRIES}));
}

TEST(Selector, NumbersOfTheExtent) {
    EXPECT_EQ(answers("on write_image offset 1000 length 200 answer 5", writes, 1), Statuses{5});
    EXPECT_EQ(answers("on write_image offset > 1000 answer 5", writes, 1), Statuses{0});
    EXPECT_EQ(answers("on write_image length 100..199 answer 5", writes, 1), Statuses{0});
    // The call that would make it more than 500 is the first to be refused, and what is refused does not count.
    EXPECT_EQ(answers("on write_image bytes > 500 answer 5", writes, 4), (Statuses{0, 0, 5, 5}));
}

TEST(Selector, StatusThatCameBack) {
    const Filtered filtered("on write_image returned 9 answer 5\non write_image returned success answer 6");
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{6});
    filtered.recorded->statuses[writes] = 9;
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{5});
}

TEST(Combination, EveryRuleCountsEveryCall) {
    EXPECT_EQ(answers("on write_image call 1 answer 5\non write_image call 2 answer 6", writes, 3),
              (Statuses{5, 6, 0}));
}

TEST(Combination, EffectsFollowEachOtherInTheOrderOfTheFile) {
    EXPECT_EQ(answers("on write_image after answer 5\non write_image after answer 6", writes, 1), Statuses{6});
    const Filtered filtered("on write_image short 100\non write_image short 50%");
    answers(filtered, writes, 1);
    EXPECT_EQ(filtered.recorded->calls[filtered.recorded->count - 1].registers[3], 50U);
}

TEST(Combination, AnAnswerInPlaceOfTheCallEndsIt) {
    const Filtered filtered("on write_image answer 5\non write_image after answer 6\non write_image answer 7");
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{5});
    EXPECT_EQ(fired(filtered, 0), 1U);
    EXPECT_EQ(matched(filtered, 1), 1U);
    EXPECT_EQ(fired(filtered, 1), 0U);
    EXPECT_EQ(fired(filtered, 2), 0U);
}

TEST(Combination, DataIsChangedInACopyByAllRules) {
    const Filtered filtered("on write_image flip bit 0 at 1\non write_image zero 1 at 2");
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    memory.data[1] = 'a';
    memory.data[2] = 'b';
    make(filtered, writes, standard_call(writes, memory, open));
    const NotedCall &call = filtered.recorded->calls[filtered.recorded->count - 1];
    EXPECT_EQ(call.written[1], '`');
    EXPECT_EQ(call.written[2], '\0');
    EXPECT_EQ(memory.data[1], 'a');
    EXPECT_EQ(memory.data[2], 'b');
}

TEST(List, OmitRepeatReverse) {
    const auto names = [](const std::string &rule) {
        const Filtered filtered(rule);
        CallerMemory memory;
        const OpenHandles open = open_all(filtered, memory);
        std::vector<std::string> all;
        while (make(filtered, fn_stspi_list_lsu, standard_call(fn_stspi_list_lsu, memory, open)) == 0 && all.size() < 9)
            all.emplace_back(memory.name);
        return all;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(names("on list_lsu lsu entry2 omit"), (Names{"entry1", "entry3"}));
    EXPECT_EQ(names("on list_lsu lsu \"entry[12]\" omit"), (Names{"entry3"}))
        << "what comes in an entry's place is judged";
    EXPECT_EQ(names("on list_lsu lsu \"entry*\" omit"), Names());
    EXPECT_EQ(names("on list_lsu lsu entry1 omit\non list_lsu lsu entry2 omit"), (Names{"entry3"}));
    EXPECT_EQ(names("on list_lsu lsu entry2 omit\non list_lsu lsu entry1 omit"), (Names{"entry3"}));
    EXPECT_EQ(names("on list_lsu lsu \"entry*\" call 2 omit"), (Names{"entry1", "entry3"}));
    EXPECT_EQ(names("on list_lsu call 3 omit"), (Names{"entry1", "entry2"}));
    EXPECT_EQ(names("on list_lsu call 1 repeat"), (Names{"entry1", "entry1", "entry2", "entry3"}));
    EXPECT_EQ(names("on list_lsu call 1 reverse"), (Names{"entry3", "entry2", "entry1"}));
    EXPECT_EQ(names("on list_lsu call 2 reverse"), (Names{"entry1", "entry3", "entry2"}));
    EXPECT_EQ(names("on list_lsu reverse"), (Names{"entry3", "entry2", "entry1"}));
}

TEST(Chance, ZeroNeverAndHundredAlways) {
    const Filtered filtered("seed 3\non write_image 0% answer 5\non write_image 100% of calls answer 6");
    EXPECT_EQ(answers(filtered, writes, 1000), Statuses(1000, 6));
}

TEST(Chance, IsDrawnWithinTheWindowOnly) {
    const Filtered filtered("seed 3\non write_image calls 2..3 100% answer 5\non write_image call 4 0% answer 6");
    EXPECT_EQ(answers(filtered, writes, 5), (Statuses{0, 5, 5, 0, 0}));
}

TEST(Chance, SameSeedSameCalls) {
    const auto draw = [](const char *seed) {
        return answers(std::string("seed ") + seed + "\non write_image 30% answer 5", writes, 1000);
    };
    const Statuses first = draw("1");
    EXPECT_EQ(draw("1"), first);
    EXPECT_NE(draw("2"), first);
    EXPECT_NEAR(static_cast<double>(std::count(first.begin(), first.end(), 5)), 300, 60);
}

TEST(Chance, ThreadsOnImagesOfTheirOwnDrawAsTheyWouldAlone) {
    const auto draws = [](bool together) {
        const Filtered filtered("seed 1\non delete_image 30% answer 5");
        std::vector<Statuses> all(8);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < all.size(); ++i) {
            threads.emplace_back([&filtered, &all, i] {
                CallerMemory memory;
                prepare(memory, nullptr);
                std::snprintf(memory.definition.name, sizeof memory.definition.name, "image%zu", i);
                for (int call = 0; call < 300; ++call)
                    all[i].push_back(make(filtered, fn_stspi_delete_image,
                                          standard_call(fn_stspi_delete_image, memory, OpenHandles())));
            });
            if (!together)
                threads.back().join();
        }
        if (together)
            for (std::thread &thread : threads)
                thread.join();
        return all;
    };
    const std::vector<Statuses> alone = draws(false);
    EXPECT_NE(alone[0], alone[1]);
    for (int round = 0; round < 5; ++round)
        EXPECT_EQ(draws(true), alone);
}

TEST(Reload, NewRulesComeIntoForceAndWrongOnesDoNot) {
    Filtered filtered("on write_image answer 5");
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{5});
    const auto soon = [&](int32_t status) {
        for (int tries = 0; tries < 2000; ++tries) {
            if (answers(filtered, writes, 1) == Statuses{status})
                return true;
            usleep(10000);
        }
        return false;
    };
    filtered.write_settings("on write_image answer 66");  // of another length: file times may be coarse
    EXPECT_TRUE(soon(66));
    testing::internal::CaptureStderr();
    filtered.write_settings("on write_image answr 7");
    for (int tries = 0; tries < 2000; ++tries) {
        answers(filtered, writes, 1);
        if (Ledger::read(filtered.settings_path() + ".ledger")->layout().processes[0].rejected != 0)
            break;
        usleep(10000);
    }
    EXPECT_EQ(answers(filtered, writes, 1), Statuses{66});
    EXPECT_NE(
        testing::internal::GetCapturedStderr().find(":2:16: error: \"answr\" is neither a selector nor an effect"),
        std::string::npos);
    filtered.write_settings("");
    EXPECT_TRUE(soon(0));
    filtered.write_settings("on write_image answer 8");
    EXPECT_TRUE(soon(8));
}

TEST(Refusal, InitTellsWhereTheMistakeIs) {
    const Filtered filtered("on write_image answer STS_E_SYSTM");
    sts_registration_t record = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(ENTRY(filtered, stspi_init)(9, nullptr, &record), STS_E_INTERNAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              filtered.settings_path() + ":2:23: error: \"STS_E_SYSTM\" is no status (did you mean STS_E_SYSTEM?)\n");
    EXPECT_EQ(record.api_version, 0U);
    EXPECT_EQ(ENTRY(filtered, stspi_unmount_lsu)(), STS_E_INTERNAL);
    EXPECT_EQ(ENTRY(filtered, stspi_claim)("Kelvarpool:x"), STS_E_NOT_CLAIMED);
    EXPECT_EQ(filtered.recorded->count, 0U);
}

TEST(Refusal, MissingPluginAndMissingFile) {
    Filtered filtered("");
    std::ofstream(filtered.settings_path()) << "\nplugin /nowhere/plugin.so\n";
    filtered.reload();
    sts_registration_t record = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(ENTRY(filtered, stspi_init)(9, nullptr, &record), STS_E_INTERNAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find(
                  filtered.settings_path() + ":2:1: error: the plug-in cannot be loaded: /nowhere/plugin.so"),
              0U);
    unlink(filtered.settings_path().c_str());
    filtered.reload();
    testing::internal::CaptureStderr();
    EXPECT_EQ(ENTRY(filtered, stspi_init)(9, nullptr, &record), STS_E_INTERNAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              filtered.settings_path() + ": error: the filter's settings cannot be read: No such file or directory\n");
}

TEST(Ledger, OutlivesAKilledProcessAndGoesOn) {
    const Filtered filtered("on write_image call 3 answer 5");
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    const pid_t child = fork();
    if (child == 0) {
        make(filtered, writes, standard_call(writes, memory, open));
        make(filtered, writes, standard_call(writes, memory, open));
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(matched(filtered, 0), 2U);
    EXPECT_EQ(make(filtered, writes, standard_call(writes, memory, open)), 5);
}

TEST(Ledger, IsEnteredByTheChildOfAForkThatMayNotOpenIt) {
    const Filtered filtered("on write_image call 3 answer 5");
    CallerMemory memory;
    const OpenHandles open = open_all(filtered, memory);
    const std::string path = filtered.settings_path() + ".ledger";
    const auto ledger = filter::Ledger::read(path);
    const auto processes = [&] {
        int alive = 0;
        for (const filter::ProcessSlot &slot : ledger->layout().processes)
            alive += filter::is_alive(slot);
        return alive;
    };
    EXPECT_EQ(processes(), 1);
    const pid_t child = fork();
    if (child == 0) {
        unlink(path.c_str());  // as good as no permission
        const auto write = [&] { return make(filtered, writes, standard_call(writes, memory, open)); };
        _exit(write() == 0 && write() == 0 && write() == 5 && processes() == 2 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Ledger, LockOfAProcessThatDiedIsGivenUp) {
    const TempDirectory directory;
    const std::string path = directory.path() + "/ledger";
    const auto ledger = filter::Ledger::begin(path);
    const pid_t child = fork();
    if (child == 0) {
        pthread_mutex_lock(&ledger->layout().lock);
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_NE(ledger->enter_process(), nullptr);
    EXPECT_NE(ledger->enter_process(), nullptr);
}

TEST(Ledger, OfAnEarlierFormIsBegunAnew) {
    const TempDirectory directory;
    const std::string path = directory.path() + "/ledger";
    filter::Ledger::begin(path)->layout().version = 7;
    EXPECT_EQ(filter::Ledger::begin(path)->layout().version, 7U);
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).write("stsledg1", 8);
    EXPECT_EQ(filter::Ledger::begin(path)->layout().version, 0U);
}

TEST(Loading, TwoHundredTimesLeavesNothing) {
    Filtered filtered("on write_image 50% answer 5");
    const auto descriptors = [] {
        int count = 0;
        for (int i = 0; i < 256; ++i)
            count += fcntl(i, F_GETFD) >= 0;
        return count;
    };
    const int before = descriptors();
    for (int i = 0; i < 200; ++i) {
        filtered.reload();
        answers(filtered, writes, 2);
    }
    EXPECT_EQ(descriptors(), before);
    std::ifstream maps("/proc/self/maps");
    int ledgers = 0;
    for (std::string line; std::getline(maps, line);)
        ledgers += line.find("filter.conf.ledger") != std::string::npos;
    EXPECT_EQ(ledgers, 1);
}
