#include "stsimage/s3/xml_answers.h"

#include <gtest/gtest.h>

using stsimage::s3::ListPage;
using stsimage::s3::read_error;
using stsimage::s3::read_list;

namespace {

std::string list_of(const std::string &text) {
    return "<?xml version='1.0'?><ListBucketResult>" + text + "</ListBucketResult>";
}

constexpr char object[] =
    "<Contents><Key>a&amp;b</Key><Size>12</Size><LastModified>2026-01-31T12:00:01.500Z</LastModified></Contents>";

}  // namespace

TEST(XmlAnswers, PageOfAList) {
    ListPage page;
    ASSERT_TRUE(read_list(
        list_of(std::string("<IsTruncated>true</IsTruncated><NextContinuationToken>t/+=</NextContinuationToken>") +
                object + "<CommonPrefixes><Prefix>p/</Prefix></CommonPrefixes>"),
        page));
    ASSERT_EQ(page.objects.size(), 1u);
    EXPECT_EQ(page.objects[0].key, "a&b");
    EXPECT_EQ(page.objects[0].size, 12u);
    EXPECT_EQ(page.objects[0].modified, 1769860801);
    EXPECT_EQ(page.prefixes, std::vector<std::string>{"p/"});
    EXPECT_EQ(page.continuation, "t/+=");
}

TEST(XmlAnswers, ListsThatAreNoneAreRefused) {
    ListPage page;
    EXPECT_TRUE(read_list(list_of("<IsTruncated>false</IsTruncated>"), page));
    for (const std::string &text :
         {std::string(), list_of(""), list_of("<IsTruncated>perhaps</IsTruncated>"),
          list_of("<IsTruncated>true</IsTruncated>"),
          list_of("<IsTruncated>false</IsTruncated><Contents><Key>k</Key></Contents>"),
          list_of("<IsTruncated>false</IsTruncated><Contents><Key>k</Key><Size>-1</Size></Contents>"),
          list_of("<IsTruncated>false</IsTruncated><Contents><Key>k</Key><Size>1x</Size></Contents>"),
          list_of("<IsTruncated>false</IsTruncated><Contents><Key>k</Key><Size>99999999999999999999</Size></Contents>"),
          list_of("<IsTruncated>false</IsTruncated><Contents><Key>k</Key><Size>1</Size><LastModified>x</LastModified></"
                  "Contents>"),
          list_of("<IsTruncated>false</IsTruncated>").substr(0, 60), std::string("<Other/>"),
          std::string(100'000, '<')})
        EXPECT_FALSE(read_list(text, page)) << text.substr(0, 100);
}

// Entities of its own could make a short text long.
TEST(XmlAnswers, EntitiesAreNotExpanded) {
    EXPECT_NE(read_error("<!DOCTYPE e [<!ENTITY x 'long'>]><Error><Code>&x;</Code></Error>").code, "long");
}

TEST(XmlAnswers, ErrorIsToldFromOtherBodies) {
    EXPECT_EQ(read_error("<?xml version='1.0'?><Error><Code>C</Code><Message>m</Message></Error>").code, "C");
    EXPECT_EQ(read_error("<CopyObjectResult/>").code, "");
    EXPECT_EQ(read_error("<Error").code, "");
}
