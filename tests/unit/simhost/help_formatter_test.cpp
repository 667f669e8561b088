#include "simhost/commands/help_formatter.h"

#include <gtest/gtest.h>

TEST(Wrapped, BreaksAtBlanksAndIndents) { EXPECT_EQ(wrapped("aa bb cc dd", 5, 2), "aa bb\n  cc dd"); }

TEST(Wrapped, LeavesALongWordWhole) { EXPECT_EQ(wrapped("aaaaaaaa bb", 5, 0), "aaaaaaaa\nbb"); }

TEST(Wrapped, OfNothingIsNothing) { EXPECT_EQ(wrapped("", 5, 2), ""); }

TEST(HelpFormatter, StaysWithin80Columns) {
    CLI::App app("test");
    app.formatter(std::make_shared<HelpFormatter>());
    std::string value;
    app.add_option("--an-option-with-a-long-name", value, std::string(20, 'x') + " " + std::string(60, 'y'))
        ->type_name("NAME");
    app.add_option("--short", value, "word " + std::string(45, 'z') + " word");
    std::istringstream help(app.help());
    for (std::string line; std::getline(help, line);)
        EXPECT_LE(line.size(), 86U) << line;
    EXPECT_NE(app.help().find("  --an-option-with-a-long-name NAME\n                          xxx"), std::string::npos);
}

TEST(HelpFormatter, MarksWhatIsRequired) {
    CLI::App app("test");
    app.formatter(std::make_shared<HelpFormatter>());
    std::string value;
    app.add_option("--needed", value, "This one")->required();
    EXPECT_NE(app.help().find("This one (required)"), std::string::npos);
}
