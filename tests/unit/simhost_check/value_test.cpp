#include "simhost/check/value.h"

#include <gtest/gtest.h>

#include "sim/parse_size.h"

namespace {

ReadLine first_line(const SourceText &source) {
    ReadLine first;
    source.for_each_line([&](const ReadLine &line) {
        if (line.reader_line == 1)
            first = line;
    });
    return first;
}

// The findings about "K=VALUE" as one kind of value, as "error id" and "warning id".
std::string findings_of(const std::string &text, ValueKind kind) {
    const SourceText source("K=" + text);
    const ReadLine line = first_line(source);
    const Value value(line, 2, kind);
    Findings findings;
    if (kind == ValueKind::size)
        EXPECT_EQ(check_size(value, findings).bytes, parse_size(value.text().c_str()));
    else if (kind == ValueKind::name)
        check_name(value, "pool", findings);
    else if (kind == ValueKind::list)
        check_names(value, "disk", findings);
    else
        check_text(value, findings);
    std::string all;
    for (const Finding &finding : findings.sorted())
        all += std::string(all.empty() ? "" : ", ") + severity_word(finding.severity) + " " + rule_id(finding.rule);
    return all;
}

TEST(CheckSize, AcceptsWhatMeansWhatItSays) {
    for (const char *text : {"1;", "512;", "10G;", "10g;", "2147483647;", "8191P;", "+5K;", "512B;", "10 G ;", "007;"})
        EXPECT_EQ(findings_of(text, ValueKind::size), "") << text;
}

TEST(CheckSize, ReportsWhatDoesNot) {
    const auto size = [](const char *text) { return findings_of(text, ValueKind::size); };
    EXPECT_EQ(size("10G"), "error missing-semicolon");
    EXPECT_EQ(size("10"), "warning missing-semicolon");
    EXPECT_EQ(size("5"), "warning missing-semicolon");
    EXPECT_EQ(size("10GB;"), "error unknown-unit");
    EXPECT_EQ(size("10GB"), "error unknown-unit");
    EXPECT_EQ(size("7X;"), "error unknown-unit");
    EXPECT_EQ(size("1.5G;"), "error size-not-a-number");
    EXPECT_EQ(size("G;"), "error size-not-a-number");
    EXPECT_EQ(size("-;"), "error size-not-a-number");
    EXPECT_EQ(size("-1;"), "error size-negative");
    EXPECT_EQ(size("2147483648;"), "error size-too-large");
    EXPECT_EQ(size("99999999999999999999;"), "error size-too-large");
    EXPECT_EQ(size("16384P;"), "error size-too-large");
    EXPECT_EQ(size("8192P;"), "error size-too-large");
    EXPECT_EQ(size("0;"), "warning size-zero");
    EXPECT_EQ(size("0T;"), "warning size-zero");
    EXPECT_EQ(size(";"), "error empty-value");
    EXPECT_EQ(size(""), "error empty-value");
    EXPECT_EQ(size("10G;;"), "error after-semicolon");
    EXPECT_EQ(size("10;#"), "warning after-semicolon");
}

TEST(CheckText, TellsWhatIsLost) {
    EXPECT_EQ(findings_of("/a;", ValueKind::text), "");
    EXPECT_EQ(findings_of("/a", ValueKind::text), "error missing-semicolon");
    EXPECT_EQ(findings_of("/a;#", ValueKind::text), "error after-semicolon");
    EXPECT_EQ(findings_of("/a b;", ValueKind::text), "error blank-in-value");
    EXPECT_EQ(findings_of("/a", ValueKind::path), "warning missing-semicolon");
    EXPECT_EQ(findings_of("/a;#", ValueKind::path), "warning after-semicolon");
    EXPECT_EQ(findings_of("/a", ValueKind::full_text), "");
}

TEST(CheckNames, TellsWhatIsLost) {
    const auto list = [](const char *text) { return findings_of(text, ValueKind::list); };
    EXPECT_EQ(list("a,b;"), "");
    EXPECT_EQ(list(" a , b ;"), "");
    EXPECT_EQ(list("a,b"), "warning missing-semicolon");
    EXPECT_EQ(list("a,,b;"), "warning empty-item");
    EXPECT_EQ(list("a,b,;"), "error empty-name");
    EXPECT_EQ(list(";"), "error empty-name");
    EXPECT_EQ(list("#a;"), "error empty-name");
    EXPECT_EQ(list("a#b;"), "error name-cut");
    EXPECT_EQ(list("a b;"), "error blank-in-value");
    EXPECT_EQ(list("a;,b;"), "error after-semicolon");
    EXPECT_EQ(list("a;b;"), "error after-semicolon");
    EXPECT_EQ(list("a; two words;"), "warning after-semicolon");
    EXPECT_EQ(list("a;#b"), "warning after-semicolon");
    EXPECT_EQ(list("a; DISKS = b;"), "error after-semicolon");
    EXPECT_EQ(list("1234567890123456789012345678901;"), "");
    EXPECT_EQ(list("12345678901234567890123456789012;"), "error name-too-long");
    EXPECT_EQ(list("1234567890123456789012345678901#;"), "error name-cut");
}

// What is suggested is right when it is followed.
TEST(CheckNames, SuggestsListsWithoutNamelessItems) {
    const auto help = [](const char *text) {
        const SourceText source(std::string("K=") + text);
        const ReadLine line = first_line(source);
        Findings findings;
        check_names(Value(line, 2, ValueKind::list), "disk", findings);
        return findings.sorted().at(0).help;
    };
    EXPECT_EQ(help("a,b,"), "write a,b;");
    EXPECT_EQ(help("a,b"), "write a,b;");
    EXPECT_EQ(help("a;b;c"), "put a ',' between two names: write a,b,c;");
}

TEST(CheckName, KeepsTheNameThatThePluginKeeps) {
    const SourceText source("K=dg#1;");
    Findings findings;
    const ReadLine line = first_line(source);
    EXPECT_EQ(check_name(Value(line, 2, ValueKind::name), "pool", findings).name, "dg");
}

}  // namespace
