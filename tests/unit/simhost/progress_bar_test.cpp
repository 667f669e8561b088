#include "simhost/report/progress_bar.h"

#include <gtest/gtest.h>

TEST(RenderProgress, ShowsABarWhenTheTotalIsKnown) {
    EXPECT_EQ(render_progress({"write", 50'000'000, 200'000'000, 2.0}, 80),
              "write  [####............]   25%  47.7 MiB of 190.7 MiB  23.8 MiB/s  6.00 s left");
}

TEST(RenderProgress, IsFullAtTheEnd) {
    const std::string line = render_progress({"read", 1000, 1000, 1.0}, 120);
    EXPECT_NE(line.find("[########################################]  100%"), std::string::npos) << line;
}

TEST(RenderProgress, StaysFullWhenTheFileGrows) {
    EXPECT_NE(render_progress({"write", 2000, 1000, 1.0}, 100).find("100%"), std::string::npos);
}

TEST(RenderProgress, ShowsWhatIsKnownWithoutATotal) {
    EXPECT_EQ(render_progress({"write", 1'500'000, std::nullopt, 1.0}, 80), "write  1.4 MiB  1.4 MiB/s");
    EXPECT_EQ(render_progress({"write", 0, 0, 0.0}, 80), "write  0 bytes  -");
}

TEST(RenderProgress, NeverFillsTheLastColumn) {
    for (size_t columns = 0; columns < 200; ++columns) {
        const std::string line = render_progress({"write", 123'456'789, 987'654'321, 3.3}, columns);
        EXPECT_LE(line.size(), columns == 0 ? 0 : columns - 1);
    }
}

TEST(RenderProgress, GivesUpTheBarOnANarrowTerminal) {
    EXPECT_EQ(render_progress({"write", 50'000'000, 200'000'000, 2.0}, 60).find('['), std::string::npos);
}
