#include "ntfs/runs/data_run_list.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include "support/byte_image.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

constexpr std::uint64_t all_ones = ~std::uint64_t{0};
constexpr std::size_t list_at = 64;  // offset of the run list in the test attributes

// A record with one non-resident $DATA attribute.
struct test_attribute {
    byte_list record;

    explicit test_attribute(const byte_list& list, std::uint64_t start_vcn = 0) {
        support::byte_image header;
        header.put(0, 0x80, 4).put(4, list_at + list.size(), 4).put(8, 1, 1);
        header.put(16, start_vcn, 8).put(32, list_at, 2).put_bytes(list_at, list);
        record = header.bytes();
    }
    test_attribute& put(std::size_t at, std::uint64_t value, std::size_t width) {
        record = support::byte_image(record).put(at, value, width).bytes();
        return *this;
    }
    record_attrib get() const { return {record, 0}; }
};

// One run as the tests write it: LCN, VCN, clusters, sparse.
using plain_run = std::tuple<std::uint64_t, std::uint64_t, std::uint32_t, bool>;

std::vector<plain_run> plain(const data_run_list& runs) {
    std::vector<plain_run> out;
    for (const data_run& run : runs) {
        out.emplace_back(run.lcn, run.vcn, run.num_clusters, run.sparse != 0);
    }
    return out;
}

std::vector<NTFS_DATA> decoded(const record_attrib& attribute) {
    std::vector<NTFS_DATA> out;
    EXPECT_TRUE(decode_attrib_runs(attribute, out));
    return out;
}

data_run_list converted(const std::vector<NTFS_DATA>& elements) {
    data_run_list out;
    to_data_run_list(elements, out);
    return out;
}

std::vector<NTFS_DATA> mft_runs_of(const byte_list& list) {
    std::vector<NTFS_DATA> out;
    decode_mft_runs(list, out, 0x80, true);
    return out;
}

TEST(DataRunList, DecodesWholeElements) {
    const struct {
        const char* name;
        byte_list list;
        std::vector<plain_run> runs;
    } cases[] = {
        // name, header, length, offset ...; LCN, VCN, clusters, sparse
        {"one run", {0x21, 0x18, 0x34, 0x56, 0x00}, {{0x5634, 0, 0x18, false}}},
        {"offset of the second run is from the first",
         {0x11, 0x30, 0x60, 0x21, 0x10, 0x00, 0x01, 0x00},
         {{0x60, 0, 0x30, false}, {0x160, 0x30, 0x10, false}}},
        {"offset 0xF0 goes back 16",
         {0x11, 0x08, 0x40, 0x11, 0x08, 0xF0, 0x00},
         {{0x40, 0, 8, false}, {0x30, 8, 8, false}}},
        {"offset 0x80 of one byte goes back 128",
         {0x21, 0x01, 0x00, 0x01, 0x11, 0x01, 0x80, 0x00},
         {{0x100, 0, 1, false}, {0x80, 1, 1, false}}},
        {"offset 0x0080 of two bytes goes forward",
         {0x11, 0x01, 0x01, 0x21, 0x01, 0x80, 0x00, 0x00},
         {{1, 0, 1, false}, {0x81, 1, 1, false}}},
        {"sparse run does not move the LCN",
         {0x11, 0x08, 0x40, 0x01, 0x10, 0x11, 0x04, 0x02, 0x00},
         {{0x40, 0, 8, false}, {0, 8, 0x10, true}, {0x42, 0x18, 4, false}}},
        {"first run without an offset field is sparse", {0x01, 0x10, 0x00}, {{0, 0, 0x10, true}}},
        {"first run with offset 0 is at LCN 0", {0x11, 0x10, 0x00, 0x00}, {{0, 0, 0x10, false}}},
        {"second run with offset 0 is sparse",
         {0x11, 0x10, 0x05, 0x11, 0x08, 0x00, 0x00},
         {{5, 0, 0x10, false}, {0, 0x10, 8, true}}},
        {"header without a length field is an empty run",
         {0x10, 0x05, 0x11, 0x02, 0x01, 0x00},
         {{5, 0, 0, false}, {6, 0, 2, false}}},
        {"length of four bytes",
         {0x14, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x11, 0x01, 0x01, 0x00},
         {{1, 0, 0xFFFFFFFF, false}, {2, 0xFFFFFFFF, 1, false}}},
        {"of a length of five bytes the low 32 bits are used, also for the next VCN",
         {0x15, 0x03, 0x00, 0x00, 0x00, 0x80, 0x01, 0x11, 0x01, 0x01, 0x00},
         {{1, 0, 3, false}, {2, 3, 1, false}}},
        {"offset of eight bytes",
         {0x81, 0x01, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0x00},
         {{0x0102030405060708, 0, 1, false}}},
        {"offset of eight bytes goes back",
         {0x11, 0x01, 0x20, 0x81, 0x01, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00},
         {{0x20, 0, 1, false}, {0x10, 1, 1, false}}},
        {"LCN below zero wraps", {0x11, 0x01, 0xFF, 0x00}, {{all_ones, 0, 1, false}}},
        {"no run", {0x00}, {}},
        {"list without its closing zero", {0x11, 0x08, 0x40}, {{0x40, 0, 8, false}}},
        {"second element truncated", {0x11, 0x08, 0x40, 0x21, 0x08, 0xF0}, {{0x40, 0, 8, false}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const test_attribute attribute(c.list);
        EXPECT_EQ(plain(converted(decoded(attribute.get()))), c.runs);
        EXPECT_EQ(plain(attribute_runs(attribute.get())), c.runs);
    }
}

TEST(DataRunList, KeepsTheOnDiskBytesOfAnElement) {
    const test_attribute attribute({0x11, 0x08, 0x40, 0x21, 0x07, 0xF0, 0xFF, 0x00}, 0x100);
    const std::vector<NTFS_DATA> runs = decoded(attribute.get());
    ASSERT_EQ(runs.size(), 2u);

    EXPECT_EQ(runs[0].lcn, 0x40u);
    EXPECT_EQ(runs[0].lcn_delta, 0x40u);
    EXPECT_EQ(runs[0].negative_delta, 0);
    EXPECT_EQ(runs[0].vcn, 0x100u);
    EXPECT_EQ(runs[0].num_clusters, 8u);
    EXPECT_EQ(runs[0].attrib_type, 0x80u);
    EXPECT_EQ(runs[0].resident, 0);
    EXPECT_EQ(runs[0].run_offset, list_at);
    EXPECT_EQ(runs[0].raw, (byte_list{0x11, 0x08, 0x40}));
    EXPECT_EQ(runs[0].raw_next, (byte_list{0x21, 0x07, 0xF0}));

    EXPECT_EQ(runs[1].lcn, 0x30u);
    EXPECT_EQ(runs[1].lcn_delta, 0x10u);
    EXPECT_EQ(runs[1].negative_delta, 1);
    EXPECT_EQ(runs[1].vcn, 0x108u);
    EXPECT_EQ(runs[1].run_offset, list_at + 3);
    EXPECT_EQ(runs[1].raw, (byte_list{0x21, 0x07, 0xF0, 0xFF}));
    EXPECT_TRUE(runs[1].raw_next.empty()) << "only one byte follows it";
}

TEST(DataRunList, SparseElementDoesNotMoveTheLcn) {
    const std::vector<NTFS_DATA> runs = decoded(test_attribute({0x01, 0x90, 0x00}).get());
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].lcn_delta, 0u);
    EXPECT_EQ(runs[0].negative_delta, 0);
}

TEST(DataRunList, ThreeBytesAfterAnElementAreKeptIfTheAttributeHasThem) {
    const struct {
        std::size_t bytes_behind;
        std::size_t kept;
    } cases[] = {{0, 0}, {1, 0}, {2, 0}, {3, 3}, {4, 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes_behind);
        byte_list list{0x11, 0x01, 0x01};
        list.resize(3 + c.bytes_behind);
        const std::vector<NTFS_DATA> runs = decoded(test_attribute(list).get());
        ASSERT_EQ(runs.size(), 1u);
        EXPECT_EQ(runs[0].raw_next.size(), c.kept);
    }
}

TEST(DataRunList, EachContinuationStartsAtItsOwnVcnAndAtLcnZero) {
    const test_attribute attribute({0x01, 0x04, 0x11, 0x02, 0x03, 0x00}, 0x1000);
    EXPECT_EQ(plain(attribute_runs(attribute.get())),
              (std::vector<plain_run>{{0, 0x1000, 4, true}, {3, 0x1004, 2, false}}));
}

TEST(DataRunList, EveryPrefixOfAListHasAPrefixOfItsRuns) {
    const byte_list list{0x11, 0x30, 0x60, 0x21, 0x10, 0x00, 0x01, 0x01,
                         0x05, 0x32, 0x10, 0x20, 0x01, 0x02, 0x03, 0x00};
    const std::vector<plain_run> whole = plain(attribute_runs(test_attribute(list).get()));
    ASSERT_EQ(whole.size(), 4u);
    const std::size_t element_ends[] = {3, 7, 9, 15};
    for (std::size_t length = 0; length <= list.size(); ++length) {
        SCOPED_TRACE(length);
        std::size_t elements = 0;
        for (const std::size_t end : element_ends)
            elements += end <= length ? 1u : 0u;
        const std::vector<plain_run> expected(whole.begin(),
                                              whole.begin() + static_cast<long>(elements));

        // The attribute ends inside the list, and the rest of the list follows it in the record.
        test_attribute bounded(list);
        bounded.put(4, list_at + length, 4);
        EXPECT_EQ(plain(attribute_runs(bounded.get())), expected);
        EXPECT_EQ(plain(converted(decoded(bounded.get()))), expected);
    }
}

TEST(DataRunList, BytesPastTheRecordAreZero) {
    test_attribute attribute({0x11, 0x08, 0x40, 0x22, 0x01, 0x02, 0x03, 0x04, 0x00});
    const std::size_t cut = list_at + 3 + 2;  // header and one length byte of the second element
    attribute.record.resize(cut);
    EXPECT_EQ(plain(attribute_runs(attribute.get())),
              (std::vector<plain_run>{{0x40, 0, 8, false}, {0, 8, 1, true}}));
    const std::vector<NTFS_DATA> runs = decoded(attribute.get());
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].raw, (byte_list{0x22, 0x01, 0, 0, 0}));
}

TEST(DataRunList, ListOffsetOutsideTheAttributeHasNoRun) {
    const byte_list list{0x11, 0x08, 0x40, 0x00};
    const struct {
        const char* name;
        std::uint64_t offset;
        std::uint64_t length;
    } cases[] = {
        {"at the end", list_at, list_at},
        {"past the end", list_at, list_at - 1},
        {"far past the end", 0xFFFF, 8},
        {"length with the sign bit", list_at, 0x80000000u + list_at},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        test_attribute attribute(list);
        attribute.put(32, c.offset, 2).put(4, c.length, 4);
        EXPECT_TRUE(decoded(attribute.get()).empty());
        EXPECT_TRUE(attribute_runs(attribute.get()).empty());
    }
}

TEST(DataRunList, AttributeOfLengthZeroFails) {
    test_attribute attribute({0x11, 0x08, 0x40, 0x00});
    attribute.put(4, 0, 4);
    std::vector<NTFS_DATA> out;
    EXPECT_FALSE(decode_attrib_runs(attribute.get(), out));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(attribute_runs(attribute.get()).empty());
    EXPECT_FALSE(decode_attrib_runs(record_attrib{}, out));
}

TEST(DataRunList, DecodingReplacesTheOutput) {
    std::vector<NTFS_DATA> out(3);
    EXPECT_TRUE(decode_attrib_runs(test_attribute({0x11, 0x01, 0x01, 0x00}).get(), out));
    EXPECT_EQ(out.size(), 1u);
}

TEST(DataRunList, DirectAndTwoStepDecodingAgreeOnAnyBytes) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 2000; ++round) {
        byte_list list(random() % 48);
        for (std::uint8_t& byte : list)
            byte = static_cast<std::uint8_t>(random());
        for (std::size_t i = 0; i < list.size(); i += 4)
            list[i] &= 0x33;  // makes short fields likely
        const test_attribute attribute(list, random() % 2 == 0 ? 0 : random());
        EXPECT_EQ(plain(attribute_runs(attribute.get())),
                  plain(converted(decoded(attribute.get()))));
    }
}

// --- decode_mft_runs ---

TEST(MftRunDecoder, DecodesRunsUpToTheZeroHeader) {
    const std::vector<NTFS_DATA> runs =
        mft_runs_of({0x11, 0x30, 0x60, 0x21, 0x10, 0x00, 0x01, 0x11, 0x08, 0xF0, 0x00, 0x11, 1, 1});
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[0].lcn, 0x60u);
    EXPECT_EQ(runs[0].num_clusters, 0x30u);
    EXPECT_EQ(runs[1].lcn, 0x160u);
    EXPECT_EQ(runs[1].num_clusters, 0x10u);
    EXPECT_EQ(runs[2].lcn, 0x150u);
    for (const NTFS_DATA& run : runs) {
        EXPECT_EQ(run.lcn_delta, all_ones);
        EXPECT_EQ(run.vcn, 0u);
        EXPECT_EQ(run.attrib_type, 0x80u);
    }
}

TEST(MftRunDecoder, SparseRunHasNoLcnAndDoesNotMoveIt) {
    const std::vector<NTFS_DATA> runs =
        mft_runs_of({0x11, 0x08, 0x40, 0x01, 0x10, 0x11, 0x04, 0x02, 0x00});
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[1].lcn, all_ones);
    EXPECT_EQ(runs[1].num_clusters, 0x10u);
    EXPECT_EQ(runs[2].lcn, 0x42u);
}

TEST(MftRunDecoder, OffsetZeroRepeatsTheLcn) {
    const std::vector<NTFS_DATA> runs = mft_runs_of({0x11, 0x08, 0x40, 0x11, 0x08, 0x00, 0x00});
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].lcn, 0x40u);
}

TEST(MftRunDecoder, LengthBytesFoldAtThirtyTwoBits) {
    const struct {
        const char* name;
        byte_list list;
        std::uint32_t clusters;
    } cases[] = {
        {"four bytes", {0x14, 0x78, 0x56, 0x34, 0x12, 0x01, 0x00}, 0x12345678},
        {"fifth byte is combined with the first", {0x15, 0x01, 0, 0, 0, 0x80, 0x01, 0x00}, 0x81},
        {"bits are or-ed, not added", {0x15, 0x81, 0, 0, 0, 0x81, 0x01, 0x00}, 0x81},
        {"eight bytes", {0x18, 0x01, 0x02, 0, 0, 0x10, 0x20, 0x30, 0x40, 0x01, 0x00}, 0x40302211},
        {"no length field", {0x10, 0x01, 0x00}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<NTFS_DATA> runs = mft_runs_of(c.list);
        ASSERT_EQ(runs.size(), 1u);
        EXPECT_EQ(runs[0].num_clusters, c.clusters);
        EXPECT_EQ(runs[0].lcn, 1u);
    }
}

TEST(MftRunDecoder, OffsetsOfAllWidthsKeepTheirSign) {
    for (unsigned width = 1; width <= 15; ++width) {
        SCOPED_TRACE(width);
        byte_list list{0x21, 0x01, 0x00, 0x10, static_cast<std::uint8_t>(width << 4 | 1), 0x01};
        list.push_back(0xF0);
        for (unsigned i = 1; i < width; ++i)
            list.push_back(0xFF);
        list.push_back(0);
        const std::vector<NTFS_DATA> runs = mft_runs_of(list);
        ASSERT_EQ(runs.size(), 2u);
        EXPECT_EQ(runs[1].lcn, 0x1000u - 16u);
    }
}

TEST(MftRunDecoder, EndsAtTheEndOfTheBuffer) {
    std::vector<NTFS_DATA> runs = mft_runs_of({0x11, 0x08, 0x40, 0x22, 0x01});
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].num_clusters, 1u);
    EXPECT_EQ(runs[1].lcn, 0x40u);
    EXPECT_TRUE(mft_runs_of({}).empty());
}

TEST(MftRunDecoder, AppendsUnlessClearFirstIsSet) {
    std::vector<NTFS_DATA> runs;
    const byte_list list{0x11, 0x01, 0x05, 0x00};
    EXPECT_TRUE(decode_mft_runs(list, runs, 0xA0, false));
    EXPECT_TRUE(decode_mft_runs(list, runs, 0xA0, false));
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].lcn, 5u) << "the running LCN starts at 0 for each list";
    EXPECT_EQ(runs[1].attrib_type, 0xA0u);
    EXPECT_TRUE(decode_mft_runs(list, runs, 0x80, true));
    EXPECT_EQ(runs.size(), 1u);
}

TEST(MftRunDecoder, EmptyListFailsAndClearsWithClearFirst) {
    std::vector<NTFS_DATA> runs(2);
    const byte_list empty{0x00};
    EXPECT_FALSE(decode_mft_runs(empty, runs, 0x80, false));
    EXPECT_EQ(runs.size(), 2u);
    EXPECT_FALSE(decode_mft_runs(empty, runs, 0x80, true));
    EXPECT_TRUE(runs.empty());
}

TEST(MftRunDecoder, HasNoSparseRunInTheCompactForm) {
    const data_run_list runs = converted(mft_runs_of({0x11, 0x08, 0x40, 0x01, 0x10, 0x00}));
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].sparse, 0);
    EXPECT_EQ(runs[1].lcn, all_ones);
}

// --- the compact form ---

TEST(CompactRuns, FirstRunWithoutBytesAndOffsetIsSparse) {
    std::vector<NTFS_DATA> elements(1);
    elements[0].lcn = 7;
    elements[0].num_clusters = 3;
    EXPECT_EQ(plain(converted(elements)), (std::vector<plain_run>{{0, 0, 3, true}}));
    elements[0].raw = {0x10};
    EXPECT_EQ(plain(converted(elements)), (std::vector<plain_run>{{7, 0, 3, false}}));
    elements[0].raw = {0x0F};
    EXPECT_EQ(plain(converted(elements)), (std::vector<plain_run>{{0, 0, 3, true}}));
}

TEST(CompactRuns, ConversionReplacesTheOutput) {
    data_run_list out(4);
    to_data_run_list({}, out);
    EXPECT_TRUE(out.empty());
}

TEST(CompactRuns, BytesAreCountedInSixtyFourBits) {
    const data_run_list runs{{1, 0, 0, 0xFFFFFFFF}, {0, 0xFFFFFFFF, 1, 0x10}, {9, 0, 0, 1}};
    EXPECT_EQ(run_bytes(runs, 4096, false), (0xFFFFFFFFull + 0x11) * 4096);
    EXPECT_EQ(run_bytes(runs, 4096, true), (0xFFFFFFFFull + 1) * 4096);
    EXPECT_EQ(run_bytes({}, 4096, false), 0u);
    EXPECT_EQ(run_bytes(runs, 0, false), 0u);
}

TEST(CompactRuns, VcnIsFoundInTheFirstRunThatContainsIt) {
    const data_run_list runs{
        {100, 0, 0, 4},  // VCN 0 to 3
        {300, 4, 0, 0},  // empty: never found
        {0, 4, 1, 2},    // sparse, VCN 4 and 5
        {200, 6, 0, 1},  // VCN 6
        {900, 6, 0, 5},  // VCN 7 to 10; 6 is in the run before
        {50, 0xFFFFFFFF, 0, 0xFFFFFFFF},
    };
    const struct {
        std::uint64_t vcn;
        bool found;
        std::uint32_t index;
        std::uint64_t lcn;
    } cases[] = {
        {0, true, 0, 100},
        {3, true, 0, 103},
        {4, true, 2, 0},
        {5, true, 2, 0},
        {6, true, 3, 200},
        {7, true, 4, 901},
        {10, true, 4, 904},
        {11, false, 0, 0},
        {0xFFFFFFFE, false, 0, 0},
        {0xFFFFFFFF, true, 5, 50},
        {0x1FFFFFFFDull, true, 5, 50 + 0xFFFFFFFEull},
        {0x1FFFFFFFEull, false, 0, 0},
        {all_ones, false, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.vcn);
        std::uint32_t index = 77;
        std::uint64_t lcn = 77;
        EXPECT_EQ(vcn_to_lcn(runs, c.vcn, index, lcn), c.found);
        EXPECT_EQ(index, c.index);
        EXPECT_EQ(lcn, c.lcn);
    }
    std::uint32_t index = 77;
    std::uint64_t lcn = 77;
    EXPECT_FALSE(vcn_to_lcn({}, 0, index, lcn));
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(lcn, 0u);
}

TEST(CompactRuns, Merging) {
    const struct {
        const char* name;
        data_run_list stored;
        data_run_list added;
        std::vector<plain_run> result;
    } cases[] = {
        {"continuation follows",
         {{10, 0, 0, 4}, {20, 4, 0, 2}},
         {{30, 6, 0, 3}},
         {{10, 0, 4, false}, {20, 4, 2, false}, {30, 6, 3, false}}},
        {"run with the same VCN is dropped, the stored one is kept",
         {{10, 0, 0, 4}},
         {{99, 0, 0, 9}, {30, 4, 0, 3}},
         {{10, 0, 4, false}, {30, 4, 3, false}}},
        {"added list comes first",
         {{30, 6, 0, 3}},
         {{10, 0, 0, 6}},
         {{10, 0, 6, false}, {30, 6, 3, false}}},
        {"gap is closed",
         {{10, 0, 0, 4}},
         {{30, 100, 1, 3}, {40, 200, 0, 1}},
         {{10, 0, 4, false}, {30, 4, 3, true}, {40, 7, 1, false}}},
        {"a list that starts after 0 is renumbered", {}, {{30, 100, 0, 3}}, {{30, 0, 3, false}}},
        {"of two added runs with the same VCN the first is kept",
         {},
         {{1, 5, 0, 1}, {2, 5, 0, 2}},
         {{1, 0, 1, false}}},
        {"renumbered even if nothing is added", {{30, 100, 0, 3}}, {}, {{30, 0, 3, false}}},
        {"two empty lists", {}, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        data_run_list stored = c.stored;
        merge_runs(c.added, stored);
        EXPECT_EQ(plain(stored), c.result);
    }
}

TEST(CompactRuns, StoredRunsAreKeptInLongLists) {
    data_run_list stored;
    data_run_list added;
    std::vector<plain_run> expected;
    for (std::uint32_t vcn = 0; vcn < 500; ++vcn) {
        stored.push_back({1000 + vcn, vcn, 0, 1});
        added.push_back({5000 + vcn, 499 - vcn, 0, 1});
        expected.emplace_back(1000 + vcn, vcn, 1, false);
    }
    merge_runs(added, stored);
    EXPECT_EQ(plain(stored), expected);
}

TEST(CompactRuns, PartsThatAreMergedOutOfOrderCollideAfterRenumbering) {
    data_run_list stored{{10, 0, 0, 2}};
    merge_runs({{30, 6, 0, 2}}, stored);  // becomes VCN 2
    merge_runs({{20, 2, 0, 4}}, stored);  // VCN 2 is in use
    EXPECT_EQ(plain(stored), (std::vector<plain_run>{{10, 0, 2, false}, {30, 2, 2, false}}));
}

// The result of a lookup: found, index and LCN.
std::tuple<bool, std::uint32_t, std::uint64_t> scanned(const data_run_list& runs,
                                                       std::uint64_t vcn) {
    std::uint32_t index = 77;
    std::uint64_t lcn = 77;
    const bool found = vcn_to_lcn(runs, vcn, index, lcn);
    return {found, index, lcn};
}

std::tuple<bool, std::uint32_t, std::uint64_t> looked_up(const data_run_list& runs,
                                                         std::uint64_t vcn) {
    const auto found = run_lookup(runs).find(vcn);
    const run_place place = found.value_or(run_place{0, 0});
    return {found.has_value(), place.run_index, place.lcn};
}

TEST(RunLookup, FindsTheSameRunAsAScan) {
    // lcn, vcn, sparse, clusters
    const struct {
        const char* name;
        data_run_list runs;
    } lists[] = {
        {"no runs", {}},
        {"one run", {{100, 3, 0, 4}}},
        {"in order with a hole", {{100, 0, 0, 4}, {0, 4, 1, 3}, {200, 7, 0, 1}}},
        {"gaps between runs", {{100, 2, 0, 2}, {200, 6, 0, 2}}},
        {"empty runs", {{100, 0, 0, 0}, {110, 0, 0, 2}, {120, 2, 0, 0}, {130, 2, 0, 2}}},
        {"empty run last", {{100, 0, 0, 2}, {110, 2, 0, 0}}},
        {"overlap", {{100, 0, 0, 6}, {200, 4, 0, 6}}},
        {"two equal VCNs", {{100, 0, 0, 4}, {200, 0, 0, 4}}},
        {"run inside another", {{100, 0, 0, 9}, {200, 3, 0, 2}, {300, 9, 0, 1}}},
        {"out of order", {{100, 8, 0, 2}, {200, 0, 0, 4}, {300, 4, 0, 4}}},
        {"end wraps in the last run", {{100, 0, 0, 2}, {200, all_ones - 1, 0, 8}}},
        {"end wraps in the first run", {{100, all_ones - 1, 0, 8}, {200, 0, 0, 4}}},
    };
    for (const auto& list : lists) {
        SCOPED_TRACE(list.name);
        for (std::uint64_t vcn = all_ones - 12; vcn != 12; ++vcn) {
            SCOPED_TRACE(vcn);
            EXPECT_EQ(looked_up(list.runs, vcn), scanned(list.runs, vcn));
        }
    }
}

TEST(RunLookup, FindsTheSameRunAsAScanInRandomLists) {
    std::mt19937 random(1);
    const auto below = [&random](std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    };
    for (int round = 0; round < 2000; ++round) {
        data_run_list runs;
        std::uint64_t vcn = 0;
        const bool damaged = round % 2 == 1;
        for (std::uint32_t left = below(9); left != 0; --left) {
            if (damaged && below(3) == 0) vcn = below(20);
            runs.push_back({1000 * left, vcn, static_cast<std::uint8_t>(below(4) == 0), below(4)});
            vcn += runs.back().num_clusters;
        }
        for (std::uint64_t wanted = 0; wanted < 28; ++wanted) {
            ASSERT_EQ(looked_up(runs, wanted), scanned(runs, wanted)) << round << ' ' << wanted;
        }
    }
}

}  // namespace
