#include "simhost/load/workload_file.h"

#include <gmock/gmock.h>

#include "simhost/load/workload_settings.h"
#include "simhost/report/failure.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> mistakes_in(const std::string &text) {
    Workload workload;
    std::vector<std::string> told;
    for (const WorkloadMistake &mistake : read_workload(text, workload))
        told.push_back(std::to_string(mistake.line) + ":" + std::to_string(mistake.column) + ": " + mistake.what);
    return told;
}

Workload workload_in(const std::string &text) {
    Workload workload;
    EXPECT_THAT(read_workload(text, workload), IsEmpty());
    return workload;
}

}  // namespace

TEST(WorkloadFile, SettingsCommentsAndBlanksAreRead) {
    const Workload workload = workload_in("# a comment\n\n  streams=7 # more\n\tsizes = 4K..16K,1M*3\r\nhang = 500ms");
    EXPECT_EQ(workload.streams, 7U);
    EXPECT_EQ(workload.sizes.text(), "4K..16K,1M*3");
    EXPECT_EQ(workload.hang_seconds, 0.5);
}

TEST(WorkloadFile, ThatIsWrittenReadsAsTheSameWorkload) {
    for (const Profile &profile : load_profiles()) {
        Workload workload;
        apply_profile(workload, profile.name);
        const Workload again = workload_in(workload_text(workload));
        for (const WorkloadSetting &setting : workload_settings())
            EXPECT_EQ(setting.get(again), setting.get(workload)) << profile.name << ' ' << setting.name;
    }
}

TEST(WorkloadFile, ProfileIsTheBeginningOfOthers) {
    const Workload workload = workload_in("profile = soak\nrate = 5\n");
    EXPECT_EQ(workload.rate, 5);
    EXPECT_EQ(workload.images, 32U);
}

TEST(WorkloadMistake, OfALineHasItsPlace) {
    EXPECT_THAT(mistakes_in("streams = 2\n  nothing\n"), ElementsAre("2:3: a line is NAME = VALUE"));
    EXPECT_THAT(mistakes_in("straems = 5"), ElementsAre("1:1: \"straems\" is no setting; did you mean streams?"));
    EXPECT_THAT(mistakes_in("= 5"), ElementsAre("1:1: \"\" is no setting"));
    EXPECT_THAT(mistakes_in("streams = 2\nstreams = 3\n"), ElementsAre("2:1: streams was set already"));
    EXPECT_THAT(mistakes_in("streams = 2\nprofile = soak\n"),
                ElementsAre("2:1: a profile comes before every other setting"));
    EXPECT_THAT(mistakes_in("profile = soka\n"), ElementsAre("1:11: 'soka' is no profile; did you mean soak?"));
    EXPECT_THAT(mistakes_in("streams ="), ElementsAre("1:9: '' is not a whole number from 1 to 1024"));
}

TEST(WorkloadMistake, OfEachValueSaysWhatIsWrong) {
    const std::pair<const char *, const char *> values[] = {
        {"processes = 65", "1:13: '65' is not a whole number from 1 to 64"},
        {"streams = 0", "1:11: '0' is not a whole number from 1 to 1024"},
        {"images = 1000001", "1:10: '1000001' is not a whole number from 1 to 1000000"},
        {"operations = -1", "1:14: '-1' is not a whole number from 0 to 18446744073709551615"},
        {"seed = x", "1:8: 'x' is not a whole number from 0 to 18446744073709551615"},
        {"compressible = 101", "1:16: '101' is not a whole number from 0 to 100"},
        {"duration = 5 minutes", "1:12: '5 minutes' is no time; write 500ms, 30s, 5m, 2h"},
        {"kill-every = soon", "1:14: 'soon' is no time; write 500ms, 30s, 5m, 2h"},
        {"hang = 0s", "1:8: a call needs some time"},
        {"chunk = 0", "1:9: '0' is not from 1 to 1G"},
        {"chunk = 2G", "1:9: '2G' is not from 1 to 1G"},
        {"rate = fast", "1:8: 'fast' is no number of operations a second"},
        {"rate = -1", "1:8: '-1' is no number of operations a second"},
        {"rate = nan", "1:8: 'nan' is no number of operations a second"},
        {"sizes = 0", "1:9: '0': an image has from 1 byte to 1024G"},
        {"sizes = 4K..1K", "1:9: '4K..1K' ends before it begins"},
        {"sizes = 4K*0", "1:9: '0' is no weight"},
        {"mix = backup=1,restor=2", "1:7: 'restor' is no operation; did you mean restore?"},
        {"mix = backup=0", "1:7: no operation has a weight"},
        {"expect = STS_E_SYSTEN", "1:10: 'STS_E_SYSTEN' is no status; did you mean STS_E_SYSTEM?"},
    };
    for (const auto &[line, mistake] : values)
        EXPECT_THAT(mistakes_in(line), ElementsAre(mistake)) << line;
    EXPECT_EQ(mistakes_in("bytes = many").size(), 1U);
    EXPECT_EQ(mistakes_in("sizes = 99999999999999999999").size(), 1U);
}

TEST(WorkloadMistake, LeavesTheOtherLinesInForce) {
    Workload workload;
    EXPECT_EQ(read_workload("streams = no\nimages = 9\nx = 1\n", workload).size(), 2U);
    EXPECT_EQ(workload.images, 9U);
}

TEST(WorkloadMistake, IsShownUnderItsLine) {
    const std::string text = "streams = 2\n\trate = x\n";
    Workload workload;
    EXPECT_EQ(mistakes_text(read_workload(text, workload), "file", text),
              "file:2:9: 'x' is no number of operations a second\n  \\x09rate = x\n             ^\n");
}

TEST(WorkloadFile, ThatCannotBeReadIsAnError) {
    EXPECT_THROW(workload_file_text("/nonexistent/workload"), UsageError);
    Workload workload;
    EXPECT_THROW(apply_workload_file(workload, "/nonexistent/workload"), UsageError);
}
