#include "plugin/property_list.h"

#include <gmock/gmock.h>

#include "sim/name_types.h"

namespace {

std::string written(const STSPropertyList &list) { return c_text(list.to_string()); }

std::string rewritten(const char *text) { return written(STSPropertyList(Name(text))); }

// ---- reading -----------------------------------------------------------------------------------------------------

TEST(PropertyListText, IsWrittenInItsOwnOrder) {
    EXPECT_EQ(rewritten("a=1;b=2"), "a=1;b=2");
    EXPECT_EQ(rewritten("c=3;a=1;b=2"), "c=3;a=1;b=2");
}

TEST(PropertyListText, LastOfARepeatedKeyStaysInItsPlace) {
    EXPECT_EQ(rewritten("a=1;b=2;a=3"), "b=2;a=3");
    EXPECT_EQ(rewritten("a=1;a=2;b=3"), "a=2;b=3");
}

TEST(PropertyListText, FurtherEqualsSignsBelongToTheValue) {
    STSPropertyList list(Name("x=y=z"));
    Name value;
    EXPECT_EQ(list.find("x", value), 0);
    EXPECT_STREQ(c_text(value), "y=z");
}

TEST(PropertyListText, ItemWithoutEqualsSignIsKeyAndValue) {
    STSPropertyList list(Name("flag"));
    Name value;
    EXPECT_EQ(list.find("flag", value), 0);
    EXPECT_STREQ(c_text(value), "flag");
    EXPECT_EQ(written(list), "flag=flag");
}

TEST(PropertyListText, EmptyTextIsOneEmptyEntry) { EXPECT_EQ(rewritten(""), "="); }

TEST(PropertyListText, TrailingSeparatorIsAnEmptyEntry) { EXPECT_EQ(rewritten("a=1;"), "a=1;="); }

TEST(PropertyListText, OneEmptyEntrySurvives) {
    EXPECT_EQ(rewritten(";;a=1;;"), "a=1;=");
    EXPECT_EQ(rewritten(";"), "=");
    EXPECT_EQ(rewritten(";a"), "=;a=a");
}

TEST(PropertyListText, EmptyKeyOrValue) {
    EXPECT_EQ(rewritten("=v"), "=v");
    EXPECT_EQ(rewritten("k="), "k=");
    EXPECT_EQ(rewritten("="), "=");
}

TEST(PropertyListText, NothingIsTrimmedOrFolded) { EXPECT_EQ(rewritten(" A = b ;a=c"), " A = b ;a=c"); }

TEST(PropertyListText, MoreThan256ItemsAreKept) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "k" + std::to_string(i) + "=v" + std::to_string(i) + ";";
    text += "end=1";
    EXPECT_EQ(rewritten(text.c_str()), text);
}

// ---- adding and finding ------------------------------------------------------------------------------------------

TEST(PropertyList, FirstBindingOfAKeyStays) {
    STSPropertyList list;
    EXPECT_EQ(list.add("k", "1"), 0);
    EXPECT_EQ(list.add("k", "2"), 1);
    Name value;
    EXPECT_EQ(list.find("k", value), 0);
    EXPECT_STREQ(c_text(value), "1");
}

TEST(PropertyList, AdditionsAreWrittenMostRecentFirst) {
    STSPropertyList list;
    list.add("a", "1");
    list.add("b", "2");
    list.add("c", "3");
    EXPECT_EQ(written(list), "c=3;b=2;a=1");
}

TEST(PropertyList, AdditionToAReadListComesFirst) {
    STSPropertyList list(Name("a=1;b=2"));
    EXPECT_EQ(list.add("c", "3"), 0);
    EXPECT_EQ(list.add("a", "9"), 1);
    EXPECT_EQ(written(list), "c=3;a=1;b=2");
}

TEST(PropertyList, AbsentKeyLeavesTheValueAlone) {
    STSPropertyList list;
    Name value("untouched");
    EXPECT_EQ(list.find("k", value), -1);  // a list without a map yet
    list.add("a", "1");
    EXPECT_EQ(list.find("k", value), -1);
    EXPECT_EQ(list.find("", value), -1);
    EXPECT_EQ(list.find("A", value), -1);
    EXPECT_STREQ(c_text(value), "untouched");
}

TEST(PropertyList, TextsAreCopiedIn) {
    STSPropertyList list;
    Name key("k");
    Name value("v");
    list.add(key, value);
    key = "x";
    value = "y";
    EXPECT_EQ(written(list), "k=v");
}

TEST(PropertyList, EmptyListIsWrittenAsNothing) {
    STSPropertyList list;
    EXPECT_EQ(written(list), "");
    STSPropertyList::Iterator iterator = list.iterator();
    EXPECT_NE(iterator.done(), 0);
}

TEST(PropertyList, IteratorGivesTheOrderOfTheText) {
    STSPropertyList list;
    list.add("a", "1");
    list.add("b", "2");
    std::string text;
    for (STSPropertyList::Iterator entry = list.iterator(); entry.done() == 0; ++entry)
        text += std::string(c_text((*entry).ext_id_)) + c_text((*entry).int_id_);
    EXPECT_EQ(text, "b2a1");
}

TEST(PropertyList, GrowsPastItsFirstSlots) {
    STSPropertyList list;
    for (int i = 0; i < 600; ++i)
        EXPECT_EQ(list.add(std::to_string(i).c_str(), "v"), 0);
    Name value;
    EXPECT_EQ(list.find("0", value), 0);
    EXPECT_EQ(list.find("599", value), 0);
    EXPECT_EQ(written(list).substr(0, 12), "599=v;598=v;");
}

TEST(PropertyList, LockThatCannotBeTakenFailsTheCall) {
    STSPropertyList list;
    list.add("a", "1");
    auto &mutex = list.iterator().map().mutex();
    ASSERT_EQ(mutex.acquire_write(), 0);
    Name value("untouched");
    EXPECT_EQ(list.add("b", "2"), -1);
    EXPECT_EQ(list.find("a", value), -1);
    EXPECT_STREQ(c_text(value), "untouched");
    EXPECT_EQ(written(list), "a=1");  // writing takes no lock
    mutex.release();
    EXPECT_EQ(list.add("b", "2"), 0);
}

}  // namespace
