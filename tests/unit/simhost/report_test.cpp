#include "simhost/report/report.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace {

// Collects what a report writes.
class ReportTest : public testing::Test {
protected:
    ReportTest() : m_stream(open_memstream(&m_text, &m_size)) {}
    ~ReportTest() override {
        std::fclose(m_stream);
        std::free(m_text);
    }

    Report report(bool json, bool strict = false) {
        OutputOptions options;
        options.json = json;
        options.strict = strict;
        return Report("test", options, m_stream);
    }
    std::string written() {
        std::fflush(m_stream);
        return std::string(m_text, m_size);
    }

    static Call sample() {
        Call call;
        call.entry_point = "stspi_claim";
        call.arguments = "\"x\"";
        call.seconds = 31e-6;
        return call;
    }

private:
    char *m_text = nullptr;
    size_t m_size = 0;
    FILE *m_stream;
};

}  // namespace

TEST_F(ReportTest, ShowsACallInOneLine) {
    Report it = report(false);
    it.show_calls();
    it.call(sample());
    EXPECT_EQ(written(), "stspi_claim                       success (0)                          31 us  \"x\"\n");
}

TEST_F(ReportTest, ShowsWhatWasPrintedAndSaidUnderTheCall) {
    Report it = report(false);
    it.show_calls();
    Call call = sample();
    call.status = 2060022;
    call.expected = false;
    call.printed = "Invalid line: 7\nand more\n";
    call.log = {{"no such thing\n", 4}};
    call.library_error = "gone";
    call.times = 3;
    call.result = "nothing";
    it.call(call);
    EXPECT_EQ(written(),
              "stspi_claim x3                    STS_E_NOT_FOUND (2060022)            31 us  \"x\"\n"
              "    = nothing\n"
              "    image library: gone\n"
              "    printed: Invalid line: 7\n"
              "    printed: and more\n"
              "    log 4: no such thing\n");
}

TEST_F(ReportTest, KeepsCallsToItselfUnlessTheyAreTheAnswer) {
    Report it = report(false);
    it.call(sample());
    it.line("answer {}", 42);
    EXPECT_EQ(written(), "answer 42\n");
}

TEST_F(ReportTest, IsOneDocumentInJson) {
    Report it = report(true);
    it.show_calls();
    Call call = sample();
    call.printed = "Invalid line: 7\n";
    it.call(call);
    it.line("for people");
    it.result()["answer"] = 42;
    EXPECT_EQ(written(), "");
    EXPECT_EQ(it.finish(ExitStatus::good), ExitStatus::good);
    const Json document = Json::parse(written());
    EXPECT_EQ(document["format_version"], 1);
    EXPECT_EQ(document["command"], "test");
    EXPECT_EQ(document["ok"], true);
    EXPECT_EQ(document["result"]["answer"], 42);
    EXPECT_EQ(document["calls"][0]["status_name"], "success");
    EXPECT_EQ(document["plugin_output"], Json({"Invalid line: 7"}));
    EXPECT_EQ(document["warnings"].size(), 1U);
}

TEST_F(ReportTest, ReplacesBytesThatAreNoUtf8) {
    Report it = report(true);
    it.result()["name"] = "a\xff";
    it.finish(ExitStatus::good);
    EXPECT_EQ(Json::parse(written())["result"]["name"], "a\xef\xbf\xbd");
}

TEST_F(ReportTest, WritesADocumentThatIsSafeOnATerminal) {
    Report it = report(true);
    it.result()["name"] = "\xc2\x9b\xe2\x80\xae";
    it.finish(ExitStatus::good);
    EXPECT_NE(written().find(R"("name": "\u009b\u202e")"), std::string::npos) << written();
}

TEST_F(ReportTest, TellsTheStatusThatTheShellSeesOfASignal) {
    Report it = report(true);
    it.error("interrupted");
    it.ends_by(SIGINT);
    it.finish(ExitStatus::bad);
    const Json document = Json::parse(written());
    EXPECT_EQ(document["ok"], false);
    EXPECT_EQ(document["exit_status"], 130);
    EXPECT_EQ(document["signal"], SIGINT);
}

TEST_F(ReportTest, EscapesWhatErrorsAndWarningsBringAlong) {
    testing::internal::CaptureStderr();
    Report it = report(false);
    it.error("cannot read \033]0;title\007: \"a\\x1b\"");
    it.warn("\xc2\x9b");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "simhost: cannot read \\x1b]0;title\\x07: \"a\\x1b\"\nsimhost: warning: \\u009b\n");
}

TEST_F(ReportTest, StrictTurnsWarningsIntoStatus3ButNothingElse) {
    Report strict = report(true, true);
    strict.warn("hm");
    EXPECT_EQ(strict.finish(ExitStatus::good), ExitStatus::warnings);
    EXPECT_EQ(strict.finish(ExitStatus::bad), ExitStatus::bad);
    EXPECT_EQ(report(true, true).finish(ExitStatus::good), ExitStatus::good);
    Report lenient = report(true);
    lenient.warn("hm");
    EXPECT_EQ(lenient.finish(ExitStatus::good), ExitStatus::good);
}

TEST(Report, TellsThatItsOutputCannotBeWritten) {
    FILE *full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    Report it("test", OutputOptions(), full);
    it.line("answer");
    EXPECT_EQ(it.finish(ExitStatus::good), ExitStatus::bad);
    std::fclose(full);
}
