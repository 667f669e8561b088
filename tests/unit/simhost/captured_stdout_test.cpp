#include "simhost/host/captured_stdout.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "tests/support/temp_directory.h"

namespace {

// Standard output goes to a file meanwhile, so that the test sees what gets there.
class CapturedStdoutTest : public testing::Test {
protected:
    CapturedStdoutTest() {
        std::fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        const int file = open(path.c_str(), O_CREAT | O_WRONLY, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~CapturedStdoutTest() override {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }

    std::string arrived() {
        std::fflush(stdout);
        std::ostringstream content;
        content << std::ifstream(path).rdbuf();
        return content.str();
    }

    TempDirectory directory;
    std::string path = directory.path() + "/stdout";

private:
    int m_saved;
};

}  // namespace

TEST_F(CapturedStdoutTest, CatchesEveryWayOfPrinting) {
    CapturedStdout captured;
    std::printf("one ");
    std::cout << "two ";
    ASSERT_EQ(write(STDOUT_FILENO, "", 0), 0);
    EXPECT_EQ(captured.take(), "one two ");
    EXPECT_EQ(arrived(), "");
}

TEST_F(CapturedStdoutTest, GivesEachTextOnce) {
    CapturedStdout captured;
    std::printf("first");
    EXPECT_EQ(captured.take(), "first");
    EXPECT_EQ(captured.take(), "");
    std::printf("2nd");
    EXPECT_EQ(captured.take(), "2nd");
}

TEST_F(CapturedStdoutTest, LetsTheProgramsOwnOutputThrough) {
    CapturedStdout captured;
    std::fputs("own", captured.own_output());
    std::fflush(captured.own_output());
    EXPECT_EQ(captured.take(), "");
    EXPECT_EQ(arrived(), "own");
}

TEST_F(CapturedStdoutTest, PutsStandardOutputBack) {
    { CapturedStdout captured; }
    std::printf("back");
    EXPECT_EQ(arrived(), "back");
}

TEST_F(CapturedStdoutTest, KeepsAMebibyteAndSaysSo) {
    CapturedStdout captured;
    for (int i = 0; i < (1 << 20) + 1; ++i)
        std::putchar('x');
    const std::string text = captured.take();
    EXPECT_EQ(text.find_first_not_of('x'), size_t{1} << 20);
    EXPECT_NE(text.find("more was printed"), std::string::npos);
}
