#include "sim/name_lists.h"

#include <gmock/gmock.h>

#include <array>
#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> texts(const NameList &names) {
    std::vector<std::string> texts;
    for (size_t i = 0; i < names.size(); ++i)
        texts.emplace_back(c_text(names[i]));
    return texts;
}

std::vector<std::string> tokenized(const std::string &text, const char *separators = ",") {
    const std::unique_ptr<NameList> names(tokenize(text.c_str(), separators));
    return texts(*names);
}

std::vector<std::string> tokenized_to_vector(const std::string &text, const char *separators = ",") {
    const std::unique_ptr<std::vector<std::string>> names(tokenize_to_vector(text.c_str(), separators));
    return *names;
}

// In iteration order: most recently added first.
std::vector<std::string> tokenized_to_map(const std::string &text, const char *separators = ",") {
    const std::unique_ptr<HostSet> names(tokenize_to_map(text.c_str(), separators));
    std::vector<std::string> texts;
    for (auto entry = names->begin(); entry != names->end(); ++entry) {
        EXPECT_EQ((*entry).int_id_, 1);
        texts.emplace_back(c_text((*entry).ext_id_));
    }
    return texts;
}

// "n0,n1,...": count names.
std::string numbered(size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += "n" + std::to_string(i) + ",";
    return text;
}

// ---- purify ------------------------------------------------------------------------------------------------------

TEST(Purify, EveryBadByteBecomesNul) {
    std::array<char, 8> text{"ab;cd#e"};
    purify(text.data(), 32);
    // The walk ends at the NUL that it has written itself no earlier than at the end of the text.
    EXPECT_EQ(text, (std::array<char, 8>{'a', 'b', '\0', 'c', 'd', '\0', 'e', '\0'}));
}

TEST(Purify, CountBeforeTheBadByteChangesNothing) {
    char text[] = "ab;cd#e";
    purify(text, 2);
    EXPECT_STREQ(text, "ab;cd#e");
}

TEST(Purify, CountJustPastTheBadByteCutsThere) {
    std::array<char, 8> text{"ab;cd#e"};
    purify(text.data(), 3);
    EXPECT_EQ(text, (std::array<char, 8>{'a', 'b', '\0', 'c', 'd', '#', 'e', '\0'}));
}

TEST(Purify, CountOfZeroOrLessChangesNothing) {
    char text[] = ";;";
    purify(text, 0);
    EXPECT_STREQ(text, ";;");
    purify(text, -5);
    EXPECT_STREQ(text, ";;");
}

TEST(Purify, BytesBehindTheEndOfTheTextStay) {
    std::array<char, 8> text{'a', '\0', ';', ';', ';', ';', ';', ';'};
    purify(text.data(), 8);
    EXPECT_EQ(text, (std::array<char, 8>{'a', '\0', ';', ';', ';', ';', ';', ';'}));
}

TEST(Purify, AllowedBytesStay) {
    char text[] = "vol-1.a_Z9";
    purify(text, 32);
    EXPECT_STREQ(text, "vol-1.a_Z9");
}

TEST(Purify, ExactlyTheNameBytesAreAllowed) {
    const std::string allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-.";
    for (int byte = 1; byte < 256; ++byte) {
        char text[] = {static_cast<char>(byte), '\0'};
        purify(text, 32);
        EXPECT_EQ(text[0] != '\0', allowed.find(static_cast<char>(byte)) != std::string::npos) << byte;
    }
}

TEST(PurifiedName, LeadingBadByteGivesAnEmptyName) { EXPECT_STREQ(c_text(purified_name("#UDID#x")), ""); }

TEST(PurifiedName, FinalSemicolonFallsAway) { EXPECT_STREQ(c_text(purified_name("disk_01;")), "disk_01"); }

TEST(PurifiedName, NameOf31BytesIsWhole) {
    EXPECT_EQ(c_text(purified_name((std::string(31, 'n') + ";").c_str())), std::string(31, 'n'));
}

TEST(PurifiedName, LongerNameIsCutAt31Bytes) {
    EXPECT_EQ(c_text(purified_name(std::string(32, 'n').c_str())), std::string(31, 'n'));
    EXPECT_EQ(c_text(purified_name(std::string(3000, 'n').c_str())), std::string(31, 'n'));
}

TEST(PurifiedName, LengthIsThatOfTheText) { EXPECT_EQ(purified_name("ab;cd").length(), 2U); }

// ---- tokenize, tokenize_to_vector --------------------------------------------------------------------------------

TEST(Tokenize, SemicolonOfTheLastNameIsCut) { EXPECT_THAT(tokenized("d1,d2,d3;"), ElementsAre("d1", "d2", "d3")); }

TEST(Tokenize, EmptyPiecesVanish) {
    EXPECT_THAT(tokenized(",,a,,b,"), ElementsAre("a", "b"));
    EXPECT_THAT(tokenized(""), IsEmpty());
    EXPECT_THAT(tokenized(",,,"), IsEmpty());
}

TEST(Tokenize, PieceWithABadFirstByteKeepsItsPlaceAsAnEmptyName) {
    EXPECT_THAT(tokenized("a,#b,c"), ElementsAre("a", "", "c"));
}

TEST(Tokenize, LoneSemicolonIsAnEmptyName) {
    EXPECT_THAT(tokenized(";"), ElementsAre(""));
    EXPECT_THAT(tokenized(",,;"), ElementsAre(""));
}

TEST(Tokenize, AnySeparatorSplits) { EXPECT_THAT(tokenized("a,b:c:,d", ",:"), ElementsAre("a", "b", "c", "d")); }

TEST(Tokenize, NameIsCutAt31Bytes) {
    EXPECT_THAT(tokenized(std::string(31, 'a') + "," + std::string(32, 'b') + "," + std::string(2000, 'c') + ",d"),
                ElementsAre(std::string(31, 'a'), std::string(31, 'b'), std::string(31, 'c'), "d"));
}

TEST(Tokenize, MoreThan512NamesAreKept) {
    for (const size_t count : {512U, 513U, 1025U, 5000U}) {
        const std::vector<std::string> names = tokenized(numbered(count));
        ASSERT_EQ(names.size(), count);
        EXPECT_EQ(names.front(), "n0");
        EXPECT_EQ(names[511], "n511");
        EXPECT_EQ(names.back(), "n" + std::to_string(count - 1));
    }
}

TEST(Tokenize, TextOfTheCallerIsNotChanged) {
    char text[] = "a,b;";
    const std::unique_ptr<NameList> names(tokenize(text, ","));
    EXPECT_STREQ(text, "a,b;");
}

TEST(TokenizeToVector, SemicolonOfTheLastNameIsCut) {
    EXPECT_THAT(tokenized_to_vector("d1,d2,d3;"), ElementsAre("d1", "d2", "d3"));
}

TEST(TokenizeToVector, EmptyPiecesVanish) {
    EXPECT_THAT(tokenized_to_vector(",,a,,b,"), ElementsAre("a", "b"));
    EXPECT_THAT(tokenized_to_vector(""), IsEmpty());
    EXPECT_THAT(tokenized_to_vector(",,,"), IsEmpty());
}

TEST(TokenizeToVector, PieceWithABadFirstByteKeepsItsPlaceAsAnEmptyName) {
    EXPECT_THAT(tokenized_to_vector("a,#b,c"), ElementsAre("a", "", "c"));
}

TEST(TokenizeToVector, DuplicatesAreKept) { EXPECT_THAT(tokenized_to_vector("a,b,a"), ElementsAre("a", "b", "a")); }

TEST(TokenizeToVector, NameIsCutAt31Bytes) {
    EXPECT_THAT(tokenized_to_vector(std::string(40, 'b') + ",d"), ElementsAre(std::string(31, 'b'), "d"));
}

TEST(TokenizeToVector, MoreThan512NamesAreKept) {
    const std::vector<std::string> names = tokenized_to_vector(numbered(1300));
    ASSERT_EQ(names.size(), 1300U);
    EXPECT_EQ(names.back(), "n1299");
}

// ---- tokenize_to_map ---------------------------------------------------------------------------------------------

TEST(TokenizeToMap, RepeatedNameIsKeptOnce) { EXPECT_THAT(tokenized_to_map("h1,h2,h1;"), ElementsAre("h2", "h1")); }

TEST(TokenizeToMap, MostRecentlyAddedComesFirst) { EXPECT_THAT(tokenized_to_map("a,b,c"), ElementsAre("c", "b", "a")); }

TEST(TokenizeToMap, EmptyPurifiedPieceIsAName) { EXPECT_THAT(tokenized_to_map("a,#b,;"), ElementsAre("", "a")); }

TEST(TokenizeToMap, NoPieceGivesAnEmptySet) {
    EXPECT_THAT(tokenized_to_map(""), IsEmpty());
    EXPECT_THAT(tokenized_to_map(",,,"), IsEmpty());
}

TEST(TokenizeToMap, NameIsCutAt31Bytes) {
    EXPECT_THAT(tokenized_to_map(std::string(32, 'a') + "," + std::string(50, 'a')), ElementsAre(std::string(31, 'a')));
}

TEST(TokenizeToMap, GrowsPastItsFirstSlots) {
    const std::vector<std::string> names = tokenized_to_map(numbered(700));
    ASSERT_EQ(names.size(), 700U);
    EXPECT_EQ(names.front(), "n699");
    EXPECT_EQ(names.back(), "n0");
}

TEST(TokenizeToMap, TextOf1023BytesIsWhole) {
    std::string text;
    for (int i = 0; i < 127; ++i)
        text += "host" + std::to_string(100 + i) + ",";
    text += "the_end";
    ASSERT_EQ(text.size(), 1023U);
    const std::vector<std::string> names = tokenized_to_map(text);
    EXPECT_EQ(names.size(), 128U);
    EXPECT_EQ(names.front(), "the_end");
}

// ---- joined_names ------------------------------------------------------------------------------------------------

TEST(JoinedNames, ListComesInItsOwnOrder) {
    const std::unique_ptr<NameList> names(tokenize("a,b,c", ","));
    EXPECT_EQ(joined_names(names.get()), "a,b,c");
}

TEST(JoinedNames, SetComesMostRecentlyAddedFirst) {
    const std::unique_ptr<HostSet> names(tokenize_to_map("a,b,c", ","));
    EXPECT_EQ(joined_names(names.get()), "c,b,a");
}

TEST(JoinedNames, EmptyNamesKeepTheirCommas) {
    const std::unique_ptr<NameList> names(tokenize("#,a,#", ","));
    EXPECT_EQ(joined_names(names.get()), ",a,");
    const std::unique_ptr<HostSet> hosts(tokenize_to_map("a,#", ","));
    EXPECT_EQ(joined_names(hosts.get()), ",a");
}

TEST(JoinedNames, NullIsEmpty) {
    EXPECT_EQ(joined_names(static_cast<const NameList *>(nullptr)), "");
    EXPECT_EQ(joined_names(static_cast<HostSet *>(nullptr)), "");
}

}  // namespace
