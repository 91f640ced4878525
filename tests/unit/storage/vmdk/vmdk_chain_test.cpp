#include "storage/vmdk/vmdk_chain.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storage/disk/raw_disk.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/fresh_hints.h"

namespace {

using support::byte_image;
using support::bytes;
using support::temp_dir;
using support::vmdk_image;
using support::vmdk_options;

constexpr std::uint64_t grain_size = 4096;
constexpr vmdk_options small = {.capacity = 160, .grain_size = 8, .table_entries = 128};

// A file whose grains are given as a string: one letter each, "." for a hole.
vmdk_image layer(std::string_view grains, std::uint32_t cid, std::uint32_t parent_cid,
                 const vmdk_options& options = small) {
    vmdk_image image(options);
    image.cid(cid).parent(parent_cid, "parent.vmdk");
    for (std::size_t i = 0; i < grains.size(); ++i) {
        if (grains[i] != '.') {
            image.grain(i, bytes(options.grain_size * 512, static_cast<std::uint8_t>(grains[i])));
        }
    }
    return image;
}

constexpr std::uint32_t none = 0xFFFFFFFF;

struct chain_files {
    explicit chain_files(const std::vector<vmdk_image>& images) {
        for (const vmdk_image& image : images) {
            paths.push_back(widened(image.save(dir.file(std::to_string(paths.size())))));
        }
    }

    temp_dir dir;
    std::vector<std::wstring> paths;
};

struct linked_chain : chain_files {
    explicit linked_chain(const std::vector<vmdk_image>& images) : chain_files(images) {
        added = chain.add_files(paths);
        linked = chain.link();
    }

    // Returns the disk as letters, one for each grain; '0' for zeros, '?' for mixed content.
    std::string grains(std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            bytes buffer(grain_size, 0xEE);
            std::uint32_t wanted = grain_size;
            if (!chain.read(buffer.data(), i * grain_size, wanted)) return "failed";
            const bool same = buffer == bytes(grain_size, buffer[0]);
            text += same ? (buffer[0] == 0 ? '0' : static_cast<char>(buffer[0])) : '?';
        }
        return text;
    }

    vmdk_chain chain;
    bool added = false;
    bool linked = false;
};

TEST(VmdkChain, BaseAloneReadsLikeAFlatDisk) {
    linked_chain c({layer("A.C.", 0x1, none)});
    EXPECT_TRUE(c.added);
    EXPECT_TRUE(c.linked);
    EXPECT_TRUE(c.chain.ready);
    EXPECT_EQ(c.chain.base, c.chain.newest);
    EXPECT_EQ(c.grains(5), "A0C00");
}

TEST(VmdkChain, NewestFileWithAGrainIsRead) {
    linked_chain c({layer("AAAA..", 1, none), layer(".BB.B.", 2, 1), layer("..C..", 3, 2)});
    EXPECT_TRUE(c.linked);
    EXPECT_EQ(c.grains(6), "ABCAB0");
    EXPECT_EQ(c.chain.order.size(), 3u);
    EXPECT_EQ(c.chain.order.front(), c.chain.base);
    EXPECT_EQ(c.chain.order.back(), c.chain.newest);
    EXPECT_EQ(c.chain.newest->cid, "00000003");
}

TEST(VmdkChain, OrderOfTheFilesDoesNotMatter) {
    const std::vector<vmdk_image> images = {layer("AAAA..", 1, none), layer(".BB.B.", 2, 1),
                                            layer("..C..", 3, 2)};
    std::vector<std::size_t> order = {0, 1, 2};
    do {
        linked_chain c({images[order[0]], images[order[1]], images[order[2]]});
        EXPECT_EQ(c.grains(6), "ABCAB0");
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(VmdkChain, OrderOfTheCidsDoesNotMatter) {
    linked_chain c({layer("AAAA", 9, none), layer(".BB.", 5, 9), layer("..C.", 7, 5)});
    EXPECT_EQ(c.grains(4), "ABCA");
}

TEST(VmdkChain, ReadCrossesGrainsAndFiles) {
    linked_chain c({layer("A.A", 1, none), layer("..B", 2, 1)});
    bytes buffer(2 * grain_size + 20, 0xEE);
    auto count = static_cast<std::uint32_t>(buffer.size());
    EXPECT_TRUE(c.chain.read(buffer.data(), grain_size - 10, count));
    EXPECT_EQ(count, buffer.size());
    bytes expected(10, 'A');
    expected.insert(expected.end(), grain_size, 0);
    expected.insert(expected.end(), grain_size, 'B');
    expected.insert(expected.end(), 10, 0);
    EXPECT_EQ(buffer, expected);
}

TEST(VmdkChain, OffsetsPastTheCapacityReadAsZeros) {
    linked_chain c({layer("AAAA", 1, none, {.capacity = 32, .grain_size = 8})});
    bytes buffer(grain_size + 5, 0xEE);
    auto count = static_cast<std::uint32_t>(buffer.size());
    EXPECT_TRUE(c.chain.read(buffer.data(), 3 * grain_size, count));
    EXPECT_EQ(count, buffer.size());
    bytes expected(grain_size, 'A');
    expected.insert(expected.end(), 5, 0);
    EXPECT_EQ(buffer, expected);
}

TEST(VmdkChain, GuardsFailARead) {
    linked_chain c({layer("A", 1, none)});
    std::uint8_t byte = 0;
    std::uint32_t count = 0;
    EXPECT_FALSE(c.chain.read(&byte, 0, count));
    count = 1;
    EXPECT_FALSE(c.chain.read(nullptr, 0, count));
    c.chain.ready = false;
    EXPECT_FALSE(c.chain.read(&byte, 0, count));
    EXPECT_EQ(count, 1u);
}

TEST(VmdkChain, AllocatedGrainHidesTheParentsEvenIfItCannotBeRead) {
    linked_chain c({layer("AAA", 1, none), layer(".B.", 2, 1).grain_entry(2, 0x7FFFFFFF)});
    EXPECT_EQ(c.grains(3), "AB0");
}

TEST(VmdkChain, GrainTruncatedByTheEndOfItsFileEndsInZeros) {
    const vmdk_image delta = layer("..B", 2, 1);
    linked_chain files({layer("AAA", 1, none)});
    byte_image cut = delta.build();
    cut.resize(delta.grain_sector(2) * 512 + 100);
    const std::wstring path = widened(cut.save(files.dir.file("cut")));
    vmdk_chain chain;
    ASSERT_TRUE(chain.add_files({files.paths[0], path}));
    ASSERT_TRUE(chain.link());
    bytes buffer(grain_size, 0xEE);
    std::uint32_t count = grain_size;
    EXPECT_TRUE(chain.read(buffer.data(), 2 * grain_size, count));
    EXPECT_EQ(count, grain_size);
    bytes expected(100, 'B');
    expected.resize(grain_size);
    EXPECT_EQ(buffer, expected);
}

TEST(VmdkChain, StepIsThatOfTheFileWithTheGrain) {
    // The parent's grains are four times as large as the child's. A request that begins in a hole
    // of the child reads the rest of the parent's grain and skips the child's next grain.
    const vmdk_image base = layer("A", 1, none, {.capacity = 160, .grain_size = 32});
    linked_chain c({base, layer(".B.C", 2, 1)});  // C follows B in the file
    bytes buffer(4 * grain_size, 0xEE);
    auto count = static_cast<std::uint32_t>(buffer.size());
    EXPECT_TRUE(c.chain.read(buffer.data(), 0, count));
    EXPECT_EQ(buffer, bytes(4 * grain_size, 'A'));
    EXPECT_EQ(c.grains(4), "ABAC");
    // One that begins in the child's grain ends with it, and continues in the parent.
    buffer.assign(2 * grain_size, 0xEE);
    count = 2 * grain_size;
    EXPECT_TRUE(c.chain.read(buffer.data(), grain_size, count));
    bytes expected(grain_size, 'B');
    expected.resize(2 * grain_size, 'A');
    EXPECT_EQ(buffer, expected);
}

TEST(VmdkChain, GrainsOfNoSizeFailTheRead) {
    linked_chain c({layer("A", 1, none).put(20, 0, 8)});
    ASSERT_TRUE(c.linked);
    EXPECT_EQ(c.grains(1), "failed");
}

TEST(VmdkChain, MissingParentBreaksTheLink) {
    linked_chain c({layer("A", 1, none), layer("B", 3, 2)});
    EXPECT_TRUE(c.added);
    EXPECT_FALSE(c.linked);
    EXPECT_FALSE(c.chain.ready);
    EXPECT_EQ(c.grains(1), "failed");
}

TEST(VmdkChain, ChainWithoutABaseIsInvalid) {
    EXPECT_FALSE(linked_chain({layer("A", 1, 1)}).linked);
    EXPECT_FALSE(linked_chain({layer("A", 1, 2), layer("B", 2, 1)}).linked);
    EXPECT_FALSE(linked_chain({}).linked);
}

TEST(VmdkChain, NoParentIsEightLowerCaseLetters) {
    const std::string head = "CID=1\nparentCID=";
    for (const char* parent : {"FFFFFFFF", "ffffffff\r", " ffffffff", "fffffff", ""}) {
        SCOPED_TRACE(parent);
        EXPECT_FALSE(linked_chain({layer("A", 1, 1).descriptor(head + parent + "\n")}).linked);
    }
    EXPECT_TRUE(linked_chain({layer("A", 1, 1).descriptor(head + "ffffffff\n")}).linked);
}

TEST(VmdkChain, CidsAreComparedAsBytes) {
    const vmdk_image base = layer("A", 1, 1).descriptor("CID=ab\nparentCID=ffffffff\n");
    const vmdk_image child = layer("B", 2, 2).descriptor("CID=cd\nparentCID=AB\n");
    EXPECT_FALSE(linked_chain({base, child}).linked);
}

TEST(VmdkChain, LaterBaseOverridesAnEarlierOne) {
    linked_chain c({layer("A", 1, none), layer("B", 2, none)});
    EXPECT_TRUE(c.linked);
    EXPECT_EQ(c.chain.base->cid, "00000002");
    EXPECT_EQ(c.grains(1), "B");
    EXPECT_EQ(c.chain.order.size(), 2u);
}

TEST(VmdkChain, OnlyTheLastChildInKeyOrderIsRead) {
    linked_chain c(
        {layer("AAAA", 1, none), layer(".B..", 2, 1), layer("..C.", 3, 1), layer("...D", 4, 2)});
    EXPECT_TRUE(c.linked);
    EXPECT_EQ(c.grains(4), "AACA");  // the first sibling is lost with its own child
}

TEST(VmdkChain, DetachedRingNextToABaseIsAccepted) {
    linked_chain c({layer("A", 1, none), layer("B", 2, 3), layer("C", 3, 2)});
    EXPECT_TRUE(c.linked);
    EXPECT_TRUE(c.chain.ready);
    EXPECT_EQ(c.grains(1), "A");
}

TEST(VmdkChain, WalkInARingIsNotReady) {
    linked_chain c({layer("A", 1, none), layer("B", 2, 1)});
    vmdk_chain& chain = c.chain;
    chain.ready = false;
    chain.newest->child = chain.base;
    chain.walk_children();
    EXPECT_FALSE(chain.ready);
}

TEST(VmdkChain, FirstFileOfACidIsUsed) {
    linked_chain c({layer("A", 1, none), layer("B", 1, none)});
    EXPECT_TRUE(c.added);
    EXPECT_EQ(c.chain.extents.size(), 1u);
    EXPECT_EQ(c.grains(1), "A");
}

TEST(VmdkChain, LinkingAgainClearsThePreviousLinks) {
    linked_chain c({layer("A", 1, none), layer("B", 2, 1)});
    EXPECT_TRUE(c.chain.link());
    EXPECT_EQ(c.chain.order.size(), 2u);
    EXPECT_EQ(c.grains(1), "B");
    c.chain.extents.clear();
    EXPECT_FALSE(c.chain.link());
    EXPECT_EQ(c.chain.base, nullptr);
    EXPECT_TRUE(c.chain.order.empty());
}

TEST(VmdkChain, AddingStopsAtTheFirstUnreadableFile) {
    const chain_files files({layer("A", 1, none)});
    vmdk_chain chain;
    EXPECT_FALSE(chain.add_files({widened(files.dir.file("missing")), files.paths[0]}));
    EXPECT_TRUE(chain.extents.empty());
    EXPECT_TRUE(chain.add_files({}));
    EXPECT_TRUE(chain.add_file(files.paths[0]));
}

// --- a chain as a source ---

TEST(VmdkSource, HasTheSizeAndNameOfTheBase) {
    const chain_files files(
        {layer("B", 2, 1, {.capacity = 320, .grain_size = 8}), layer("A", 1, none)});
    CRawDisk disk(files.paths, false, false);
    ASSERT_TRUE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::vmdk);
    EXPECT_EQ(disk.size_in_bytes(), 160u * 512u);
    EXPECT_EQ(disk.path_wide, files.paths[1]);
    EXPECT_EQ(widened(disk.path_utf8), files.paths[1]);
    EXPECT_EQ(disk.fd, disk.vmdk->base->fd);
    EXPECT_EQ(disk.sector_size, 512u);
}

TEST(VmdkSource, OnlyTheStartOfAReadIsBounded) {
    const chain_files files({layer("A...................B", 1, none)});
    CRawDisk disk(files.paths, false, false);
    bytes buffer(600, 0xEE);
    std::uint32_t count = 600;
    EXPECT_TRUE(disk.read_bytes(buffer.data(), count, 160 * 512 - 1));
    EXPECT_EQ(count, 600u);  // one byte of the disk, and bytes past its capacity
    bytes expected(1, 0);
    expected.resize(600, 'B');
    EXPECT_EQ(buffer, expected);
    EXPECT_FALSE(disk.read_bytes(buffer.data(), count, 160 * 512));
}

TEST(VmdkSource, OneMissingFileOfSeveralClosesIt) {
    const chain_files files({layer("A", 1, none)});
    const CRawDisk disk({files.paths[0], widened(files.dir.file("missing"))}, false, false);
    EXPECT_FALSE(disk.ok);
}

TEST(VmdkSource, WriteAccessReachesTheFiles) {
    const chain_files files({layer("A", 1, none)});
    for (const bool write : {false, true}) {
        SCOPED_TRACE(write);
        const CRawDisk disk(files.paths, write, false);
        EXPECT_EQ(disk.write_access, write);
        EXPECT_EQ(::fcntl(disk.fd, F_GETFL) & O_ACCMODE, write ? O_RDWR : O_RDONLY);
    }
}

TEST(VmdkSource, NothingIsReadWithoutADescriptor) {
    const chain_files files({layer("A", 1, none)});
    CRawDisk disk(files.paths, false, false);
    std::uint8_t byte = 0;
    std::uint32_t count = 1;
    disk.fd = -1;  // the chain has its own
    EXPECT_FALSE(disk.read_bytes(&byte, count, 0));
    disk.native_handle = 5;
    EXPECT_TRUE(disk.read_bytes(&byte, count, 0));
    EXPECT_EQ(byte, 'A');
}

TEST(VmdkSource, NegativeOffsetReachesTheChain) {
    const chain_files files({layer("A", 1, none)});
    CRawDisk disk(files.paths, false, false);
    const std::uint64_t span = 128 * grain_size;
    bytes buffer(10, 0xEE);
    std::uint32_t count = 10;
    // The table index is used modulo 2^32: 2^63 / span is a multiple of it.
    ASSERT_EQ(((1ull << 63) / span) & 0xFFFFFFFF, 0u);
    EXPECT_TRUE(disk.read_bytes(buffer.data(), count, 1ull << 63));
    EXPECT_EQ(buffer, bytes(10, 'A'));
}

TEST(VmdkSource, CapacityIsASignedSize) {
    for (const std::uint64_t capacity : {1ull << 54, 1ull << 55}) {
        SCOPED_TRACE(capacity);
        const chain_files files({layer("A", 1, none).put(12, capacity, 8)});
        CRawDisk disk(files.paths, false, false);
        EXPECT_TRUE(disk.ok);
        EXPECT_EQ(disk.size_in_bytes(), capacity * 512);
        std::uint8_t byte = 0;
        std::uint32_t count = 1;
        EXPECT_FALSE(disk.read_bytes(&byte, count, 0));
    }
}

TEST(VmdkSource, StoresNoMoreThanItsFilesInTotal) {
    const vmdk_image delta = layer("B", 2, 1);
    const chain_files claiming({layer("A", 1, none).put(12, 1ull << 40, 8), delta});
    EXPECT_EQ(CRawDisk(claiming.paths, false, false).held_bytes(),
              layer("A", 1, none).build().size() + delta.build().size());
    const chain_files small_disk({layer("A", 1, none).put(12, 3, 8), delta});
    EXPECT_EQ(CRawDisk(small_disk.paths, false, false).held_bytes(), 3u * 512u);
}

TEST(VmdkSource, BrokenChainIsNotOpen) {
    const chain_files files({layer("A", 1, none), layer("B", 3, 2)});
    CRawDisk disk(files.paths, false, false);
    EXPECT_FALSE(disk.ok);
    EXPECT_EQ(disk.size_in_bytes(), 0u);
}

TEST(VmdkSource, DescriptorOfTheBaseIsClosedOnce) {
    const chain_files files({layer("A", 1, none)});
    int fd = -1;
    {
        CRawDisk disk(files.paths, false, false);
        fd = disk.fd;
        disk.vmdk.reset();  // closes it; the number may be reused
        EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
        const int other = ::open("/dev/null", O_RDONLY);
        ASSERT_EQ(other, fd);
        disk.vmdk = std::make_unique<vmdk_chain>();
    }
    EXPECT_NE(::fcntl(fd, F_GETFD), -1);
    ::close(fd);
}

// --- hints ---

std::uint64_t grain_pos(const vmdk_image& image, std::uint64_t grain) {
    return image.grain_sector(grain) * 512;
}

TEST(VmdkChainHints, GoToTheFilesThatHoldTheGrains) {
    const vmdk_image old_file = layer("AAA.A", 1, none);
    const vmdk_image new_file = layer(".B", 2, 1);
    linked_chain c({old_file, new_file});
    const fresh_hints system(support::system_hints::cache::empty);
    c.chain.announce(grain_size - 10, 4 * grain_size + 10);  // grains 0 to 4, without the fifth
    EXPECT_EQ(system.given,
              (std::vector<support::given_hint>{{grain_pos(old_file, 0) + grain_size - 10, 10},
                                                {grain_pos(new_file, 1), grain_size},
                                                {grain_pos(old_file, 2), grain_size},
                                                {grain_pos(old_file, 4), grain_size}}));
}

TEST(VmdkChainHints, EndWithTheFile) {
    const vmdk_image base = layer("AB", 1, none);
    linked_chain c({base});
    c.chain.base->file_size = grain_pos(base, 1) + 100;
    const fresh_hints system(support::system_hints::cache::empty);
    c.chain.announce(grain_size, grain_size);
    EXPECT_EQ(system.given, (std::vector<support::given_hint>{{grain_pos(base, 1), 100}}));
}

TEST(VmdkChainHints, EndWithTheFirstFailedReadOfAnyFile) {
    linked_chain c({layer("A.", 1, none), layer(".B", 2, 1)});
    const fresh_hints system(support::system_hints::cache::empty);
    const int open_fd = std::exchange(c.chain.newest->fd, -1);
    EXPECT_EQ(c.grains(2), "A0") << "a grain that cannot be read is zero";
    c.chain.newest->fd = open_fd;
    c.chain.announce(0, 2 * grain_size);
    EXPECT_TRUE(system.given.empty());
}

TEST(VmdkChainHints, ChainThatIsNotReadyOrHasNoGrainsGetsNone) {
    const fresh_hints system(support::system_hints::cache::empty);
    vmdk_chain empty;
    empty.announce(0, 10);
    linked_chain c({layer("A", 1, none)});
    c.chain.base->grain_bytes = 0;
    c.chain.announce(0, 10);
    EXPECT_TRUE(system.given.empty());
}

TEST(VmdkChainHints, WaitedIfAnyFileHas) {
    linked_chain c({layer("A.", 1, none), layer(".B", 2, 1)});
    fresh_hints system(support::system_hints::cache::empty);
    EXPECT_FALSE(c.chain.has_waited());
    EXPECT_EQ(c.grains(2), "AB");
    EXPECT_TRUE(c.chain.has_waited());
    EXPECT_EQ(c.grains(3), "AB0");
    EXPECT_FALSE(c.chain.has_waited()) << "a hole is not read";
    system.state = support::system_hints::cache::full;
    EXPECT_EQ(c.grains(2), "AB");
    EXPECT_FALSE(c.chain.has_waited());
}

}  // namespace
