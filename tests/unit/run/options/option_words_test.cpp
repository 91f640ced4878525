#include "run/options/option_words.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "run/options/option_scan.h"

namespace {

TEST(DriverWords, AreThoseOutsideTheCommonVocabulary) {
    const std::map<std::string, option_form> expected = {
        {"-h", option_form::flag},
        {"-help", option_form::flag},
        {"/?", option_form::flag},
        {"--help", option_form::flag},
        {"-append", option_form::flag},
        {"-xml", option_form::value},
        {"-vmdk", option_form::values},
        {"-filepath_only", option_form::flag},
        {"-indx", option_form::flag},
        {"-offset", option_form::value},
        {"-mft", option_form::value},
        {"-objid", option_form::flag},
        {"-alldates", option_form::flag},
        {"-recurse", option_form::value},
        {"-level", option_form::value},
        {"-image", option_form::value},
        {"-ignore_image_size", option_form::flag},
        {"-drivenum", option_form::value},
    };
    std::map<std::string, option_form> actual;
    for (const option_word& known : driver_words())
        EXPECT_TRUE(actual.emplace(known.text, known.form).second) << known.text;
    EXPECT_EQ(actual, expected);
}

TEST(AllWords, ContainEachOptionOfBothTablesOnce) {
    std::set<std::string> seen;
    for (const option_word& known : all_words())
        EXPECT_TRUE(seen.insert(known.text).second) << known.text;
    EXPECT_EQ(seen.size(), driver_words().size() + common_options().size());
    for (const option_spec& option : common_options())
        EXPECT_EQ(seen.count(option.word), 1u) << option.word;
}

}  // namespace
