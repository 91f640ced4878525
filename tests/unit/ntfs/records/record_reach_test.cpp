#include "ntfs/records/record_reach.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/format/reparse_point.h"
#include "ntfs/index/index_reader.h"
#include "support/byte_image.h"
#include "support/record_builder.h"
#include "support/run_list.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

constexpr std::size_t record_size = 0x18000;

class random_numbers {
public:
    explicit random_numbers(std::uint32_t seed) : m_random(seed) {}
    std::uint64_t below(std::uint64_t limit) {
        return std::uniform_int_distribution<std::uint64_t>(0, limit - 1)(m_random);
    }
    bool one_in(std::uint64_t n) { return below(n) == 0; }
    // Returns a size that is mostly small, and sometimes up to `limit`.
    std::uint64_t size(std::uint64_t limit) { return below(one_in(5) ? limit : 300); }

private:
    std::mt19937 m_random;
};

// Returns a record of attributes with random fields.
byte_list random_record(random_numbers& random) {
    support::byte_image image(record_size);
    for (std::size_t at = 0; at < record_size; at += 1 + random.below(400))
        image.put(at, random.below(256), 1);
    image.put(20, 56, 2);
    std::size_t at = 56;
    constexpr std::uint32_t types[] = {0x10, 0x20, 0x30, 0x40, 0x60, 0x80, 0x90, 0xA0, 0xC0};
    for (std::uint64_t i = 1 + random.below(6); i-- > 0 && at + 200 < record_size;) {
        const std::uint64_t length = 72 + random.size(40000);
        image.put(at, types[random.below(std::size(types))], 4).put(at + 4, length, 4);
        image.put(at + 8, random.below(2), 1).put(at + 9, random.size(256), 1);
        image.put(at + 10, random.size(0x10000), 2).put(at + 12, random.below(0x10000), 2);
        image.put(at + 16, random.size(record_size), 4).put(at + 20, random.size(0x10000), 2);
        image.put(at + 32, random.size(0x10000), 2);
        if (random.one_in(3)) {  // a long run list or name
            image.fill(at + 64, random.size(30000), static_cast<std::uint8_t>(random.below(256)));
        }
        at += length;
    }
    if (!random.one_in(3)) image.put(at, 0xFFFFFFFF, 4);
    byte_list record = image.bytes();
    record.resize(record_size);
    return record;
}

// Returns the part of a record that record_reader reads.
byte_list held_part(const byte_list& record, bool with_values) {
    std::uint64_t seen = 256;
    for (;;) {
        const byte_list held(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(seen));
        const std::uint64_t reach = record_reach(held, seen, with_values);
        if (reach <= seen || seen == record.size()) return held;
        seen = std::min<std::uint64_t>(record.size(), std::max(reach, 2 * seen));
    }
}

// Returns everything that the readers of attributes find in a record.
std::vector<std::string> found_in(ql::bytes record, bool with_values) {
    std::vector<std::string> found;
    const auto add = [&found](const auto& value) {
        found.push_back(testing::PrintToString(value));
    };
    record_attrib attribute = first_attrib(record);
    for (bool is_first = true; attribute.length() != 0; is_first = false) {
        if (attribute.type() == attrib_type::end && !is_first) break;
        const std::uint64_t left = record_size - std::min(record_size, attribute.at);
        add(ql::le64(attribute.from(0), 64));
        add(attribute_name(attribute, left));
        add(name_inside(attribute));
        std::wstring name;
        read_file_name(attribute, name);
        add(name);
        if (attribute.nonresident() || attribute.type() == attrib_type::index_allocation) {
            std::vector<NTFS_DATA> runs;
            decode_mft_runs(attribute.from(attribute.run_list_offset()), runs, 0, true);
            add(runs.size());
            add(attribute_runs(attribute).size());
        } else if (with_values || attribute.type() == attrib_type::attribute_list) {
            for (std::uint64_t at = 0; at < attribute.value_length(); at += 97)
                found.push_back(std::to_string(ql::le8(attribute.value_to_record_end(), at)));
        }
        if (attribute.type() == attrib_type::index_root) {
            std::vector<std::uint64_t> children;
            add(collect_entries(children, ql::clip(attribute.value_to_record_end(), 16), true));
            add(children);
        }
        if (attribute.type() == attrib_type::reparse_point) {
            const std::size_t value_at = attribute.at + attribute.value_offset();
            const reparse_point point{attribute.value_to_record_end(),
                                      record_size - std::min(record_size, value_at)};
            add(reparse_target(point));
            add(reparse_print_name(point));
            add(has_reparse_target(attribute, left));
        }
        attribute.at += attribute.length();
    }
    return found;
}

TEST(RecordReach, PartThatIsReadHasAllBytesThatReadersAccess) {
    std::size_t in_part = 0;
    for (std::uint32_t seed = 0; seed < 600; ++seed) {
        SCOPED_TRACE(seed);
        random_numbers random(seed);
        const byte_list record = random_record(random);
        for (const bool with_values : {false, true}) {
            const byte_list held = held_part(record, with_values);
            if (held.size() < record.size()) ++in_part;
            ASSERT_EQ(found_in(held, with_values), found_in(record, with_values));
        }
    }
    EXPECT_GT(in_part, 300u) << "most records need not be read completely";
}

TEST(RecordReach, OrdinaryRecordEndsSoon) {
    support::record_builder builder(64);
    builder.standard_information().file_name(5, u"name").data("content");
    byte_list record = builder.build_before_fixup();
    record.resize(0x10000);
    EXPECT_LT(record_reach(record, record.size(), true), 4096u);
}

// Returns the offset in its record of the value of a resident attribute.
std::uint64_t value_at(const support::record_builder& builder, std::uint32_t type) {
    return builder.attribute_offset(type) + 24;
}

TEST(RecordReach, AttributeHeaderThatWasNotSeenIsNeeded) {
    support::record_builder builder(64, 4096);
    builder.data(support::bytes(3000, 1)).stream(u"next", "x");
    const byte_list record = builder.build_before_fixup();
    const byte_list seen(record.begin(), record.begin() + 256);
    // The second header is after the value; 72 bytes of it are read.
    EXPECT_GE(record_reach(seen, seen.size(), false),
              value_at(builder, support::type::data) + 3000 + 72);
}

TEST(RecordReach, ValuesAreNeededOnlyOnRequest) {
    support::record_builder builder(64, 0x10000);
    const byte_list record = builder.data(support::bytes(30000, 1)).build_before_fixup();
    const std::uint64_t end = value_at(builder, support::type::data) + 30000;
    EXPECT_GE(record_reach(record, record.size(), true), end);
    // The end marker follows the value, and nothing after the marker is needed.
    EXPECT_LE(record_reach(record, record.size(), false), end + 72);
}

TEST(RecordReach, AttributeListIsAlwaysNeeded) {
    support::record_builder builder(64, 0x10000);
    builder.attribute_list(std::vector<support::list_entry>(500, {.type = 0x80, .record = 65}));
    // The length of the attribute is too small and does not bound the list.
    const byte_list record = builder.edit(4, 0, 4).build_before_fixup();
    EXPECT_GE(record_reach(record, record.size(), false),
              value_at(builder, support::type::attribute_list) + 500 * 32);
}

TEST(RecordReach, RunListIsNeededToItsEnd) {
    support::record_builder builder(64, 0x10000);
    support::cluster_runs runs;
    for (std::uint64_t i = 0; i < 2000; ++i)
        runs.push_back({0x1000 + 2 * i, 1});
    builder.data_runs(runs);
    const byte_list record = builder.edit(4, 0, 4).build_before_fixup();
    // A run has a header byte, a byte for its length and a byte for the step of 2 clusters.
    EXPECT_GE(record_reach(record, record.size(), false),
              builder.attribute_offset(support::type::data) + 64 + 2000 * 3);
}

TEST(RecordReach, RecordOfZerosEndsAtItsStart) {
    const byte_list zeros(0x10000, 0);
    EXPECT_LT(record_reach(zeros, zeros.size(), true), 4096u);
    EXPECT_LT(record_reach({}, 0, true), 4096u);
}

}  // namespace
