// Directories and tables: the ranges of the disk that the files of a chain store, and exact
// lookups.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "storage/disk/raw_disk.h"
#include "storage/vmdk/vmdk_chain.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/vmdk_model.h"

namespace {

using support::byte_image;
using support::bytes;
using support::pattern;
using support::vmdk_image;
using support::vmdk_options;

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t grain_size = 4096;
constexpr vmdk_options small = {.capacity = 160, .grain_size = 8, .table_entries = 128};
constexpr std::uint64_t table_span = 128 * grain_size;
constexpr std::uint64_t period = table_span << 32;  // the directory is found by 32 bits
constexpr std::uint64_t all = ~std::uint64_t{0};

// Files, base first, with the CIDs of a chain.
std::vector<byte_image> chain_of(std::vector<vmdk_image> images) {
    std::vector<byte_image> files;
    for (std::uint32_t i = 0; i < images.size(); ++i) {
        images[i].cid(i + 1);
        if (i > 0) images[i].parent(i, "parent");
        files.push_back(images[i].build());
    }
    return files;
}

// A base and its deltas, opened as one source, with a model of each file.
struct chain_disk {
    explicit chain_disk(const std::vector<byte_image>& files) {
        std::vector<std::wstring> paths;
        for (const byte_image& file : files) {
            paths.push_back(widened(file.save(dir.file(std::to_string(paths.size())))));
            models.emplace_back(file);
        }
        disk = std::make_unique<CRawDisk>(paths, false, false);
    }
    explicit chain_disk(const std::vector<vmdk_image>& images) : chain_disk(chain_of(images)) {}
    std::uint64_t next(std::uint64_t offset, std::uint64_t end = all) const {
        return disk->next_held(offset, end);
    }
    bool holds(std::uint64_t offset) const {
        return std::any_of(models.begin(), models.end(),
                           [&](const vmdk_model& model) { return model.holds(offset); });
    }

    support::temp_dir dir;
    std::vector<vmdk_model> models;
    std::unique_ptr<CRawDisk> disk;
};

vmdk_image with_grains(const std::vector<std::uint64_t>& numbers,
                       const vmdk_options& options = small) {
    vmdk_image image(options);
    for (const std::uint64_t number : numbers)
        image.grain(number, pattern(options.grain_size * sector));
    return image;
}

TEST(VmdkHeld, GapsBetweenGrainsAreSkipped) {
    const chain_disk c(std::vector{with_grains({3, 4, 7})});
    ASSERT_TRUE(c.disk->ok);
    EXPECT_EQ(c.next(0), 3 * grain_size);
    EXPECT_EQ(c.next(3 * grain_size - 1), 3 * grain_size);
    EXPECT_EQ(c.next(3 * grain_size), 3 * grain_size);
    EXPECT_EQ(c.next(3 * grain_size + 5), 3 * grain_size + 5);
    EXPECT_EQ(c.next(5 * grain_size - 1), 5 * grain_size - 1);
    EXPECT_EQ(c.next(5 * grain_size), 7 * grain_size);
    EXPECT_EQ(c.next(5 * grain_size + 1), 7 * grain_size);
}

TEST(VmdkHeld, EndBoundsTheResult) {
    const chain_disk c(std::vector<vmdk_image>{with_grains({3})});
    EXPECT_EQ(c.next(0, 1), 1u);
    EXPECT_EQ(c.next(0, 3 * grain_size), 3 * grain_size);
    EXPECT_EQ(c.next(0, 3 * grain_size + 1), 3 * grain_size);
    EXPECT_EQ(c.next(3 * grain_size + 2, 3 * grain_size + 2), 3 * grain_size + 2);
    EXPECT_EQ(c.next(10, 5), 5u);
}

TEST(VmdkHeld, AnyFileOfTheChainHolds) {
    const vmdk_options large = {.capacity = 160, .grain_size = 32};
    const chain_disk c(std::vector<vmdk_image>{with_grains({1}, large), with_grains({2, 12})});
    EXPECT_EQ(c.next(0), 2 * grain_size);
    EXPECT_EQ(c.next(3 * grain_size), 4 * grain_size);  // the second grain of the base
    EXPECT_EQ(c.next(8 * grain_size), 12 * grain_size);
}

TEST(VmdkHeld, PartOfAGrainPastTheEndOfItsFileIsNotHeld) {
    const vmdk_image image = with_grains({3, 4, 7});
    byte_image cut = image.build();
    cut.resize(image.grain_sector(7) * sector + 100);
    support::temp_dir dir;
    const CRawDisk disk({widened(cut.save(dir.file("cut")))}, false, false);
    ASSERT_TRUE(disk.ok);
    EXPECT_EQ(disk.next_held(7 * grain_size + 99, all), 7 * grain_size + 99);
    EXPECT_EQ(disk.next_held(7 * grain_size + 100, 9 * grain_size), 9 * grain_size);
    cut.resize(image.grain_sector(7) * sector);
    const CRawDisk gone({widened(cut.save(dir.file("gone")))}, false, false);
    EXPECT_EQ(gone.next_held(5 * grain_size, 9 * grain_size), 9 * grain_size);
}

TEST(VmdkHeld, TablesRepeatAfter32Bits) {
    const chain_disk c(
        std::vector<vmdk_image>{with_grains({3, 130}, {.grain_size = 8, .table_entries = 128})});
    EXPECT_EQ(c.next(period), period + 3 * grain_size);
    EXPECT_EQ(c.next(period + 4 * grain_size), period + 130 * grain_size);
    // Table 128 is the first one past the directory: nothing is stored up to the next period.
    EXPECT_EQ(c.next(128 * table_span), period + 3 * grain_size);
    EXPECT_EQ(c.next(5 * period + 128 * table_span), 6 * period + 3 * grain_size);
    EXPECT_EQ(c.next(128 * table_span, period), period);
    const std::uint64_t last_period = 0 - period;  // 2^64 is a multiple of the period
    EXPECT_EQ(c.next(last_period + 128 * table_span), all);
}

TEST(VmdkHeld, GrainsOfNoSizeAreHeld) {
    const chain_disk alone(std::vector<vmdk_image>{with_grains({3}).put(20, 0, 8)});
    ASSERT_TRUE(alone.disk->ok);
    EXPECT_EQ(alone.next(0), 0u);
    EXPECT_EQ(alone.next(77), 77u);
    const chain_disk in_chain(
        std::vector<vmdk_image>{with_grains({3}).put(20, 0, 8), with_grains({4})});
    EXPECT_EQ(in_chain.next(77), 77u);
}

// Grains of 2^62 bytes: the span of a table of 128 is 0, and all offsets have the first entry.
TEST(VmdkHeld, GrainsWhoseTableWrapsAreHeldUpToTheEndOfTheFile) {
    constexpr std::uint64_t huge = std::uint64_t{1} << 62;
    const chain_disk c(std::vector<vmdk_image>{with_grains({0}).put(20, huge / sector, 8)});
    ASSERT_TRUE(c.disk->ok);
    const std::uint64_t size = byte_image::load(c.dir.file("0")).size();
    EXPECT_EQ(c.next(size - 1), size - 1);
    EXPECT_EQ(c.next(size), huge);
    EXPECT_EQ(c.next(size, 2 * size), 2 * size);
    EXPECT_EQ(c.next(huge + size), 2 * huge);
    EXPECT_EQ(c.next(3 * huge + size), all);
}

TEST(VmdkHeld, ChainThatIsNotReadyIsHeld) {
    const chain_disk c(std::vector<vmdk_image>{with_grains({3})});
    c.disk->vmdk->ready = false;
    EXPECT_EQ(c.next(77), 77u);
}

// A run of 2^32 clusters of 64 KiB, on a disk of 2^53 sectors.
TEST(VmdkHeld, HugeGapsTakeNoTime) {
    constexpr std::uint64_t end = std::uint64_t{1} << 62;
    const vmdk_options one_table = {.capacity = std::uint64_t{1} << 53, .grain_size = 128};
    vmdk_image image({.capacity = 128 * 512, .grain_size = 128});
    image.grain(3, pattern(65536)).put(12, one_table.capacity, 8);
    const chain_disk c(std::vector<vmdk_image>{image, image, image});
    ASSERT_EQ(c.disk->size_in_bytes(), end);
    const auto start = std::chrono::steady_clock::now();
    constexpr std::uint64_t past_directory = std::uint64_t{128 * 512} << 16;
    for (int i = 0; i < 1000; ++i) {
        const std::uint64_t from = past_directory + static_cast<std::uint64_t>(i);
        EXPECT_EQ(c.next(from, from + (std::uint64_t{1} << 48)), from + (std::uint64_t{1} << 48));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

// --- random chains ---

using random_numbers = std::mt19937_64;

vmdk_image random_layer(random_numbers& random) {
    vmdk_options options;
    options.grain_size = 1u << random() % 4;
    options.table_entries = 1u << random() % 8;
    options.capacity = 256;
    options.descriptor_sectors = 2;
    vmdk_image image(options);
    const std::uint64_t grains = options.capacity / options.grain_size;
    for (std::uint64_t left = random() % 12; left > 0; --left)
        image.grain(random() % grains, pattern(options.grain_size * sector, 7));
    const std::uint32_t entries[] = {1, 2, 0x7FFFFFFF, static_cast<std::uint32_t>(random() % 100)};
    for (std::uint64_t left = random() % 3; left > 0; --left)
        image.grain_entry(random() % grains, entries[random() % 4]);
    if (random() % 4 == 0) image.without_table(1 + random() % 2);
    return image;
}

// Truncates some files, after the first directory sector.
void shorten(byte_image& file, std::uint64_t least, random_numbers& random) {
    if (random() % 3 == 0) file.resize(least + random() % (file.size() - least + 1));
}

bytes read(CRawDisk& disk, std::uint64_t offset, std::size_t count) {
    bytes buffer(count, 0xEE);
    auto wanted = static_cast<std::uint32_t>(count);
    EXPECT_TRUE(disk.vmdk->read(buffer.data(), offset, wanted));
    EXPECT_EQ(wanted, count);
    return buffer;
}

void expect_zeros_between(chain_disk& c, std::uint64_t from, std::uint64_t to,
                          random_numbers& random) {
    const std::uint64_t start = from - std::min<std::uint64_t>(from, random() % 10000);
    const bytes content = read(*c.disk, start, static_cast<std::size_t>(to - start));
    const auto first = content.begin() + static_cast<std::ptrdiff_t>(from - start);
    EXPECT_TRUE(std::all_of(first, content.end(), [](std::uint8_t b) { return b == 0; }))
        << start << " " << from << " " << to;
}

TEST(VmdkHeld, AgreesWithTheBytesOfRandomChains) {
    constexpr std::uint64_t sectors = 2000;  // past the capacity too, where directories are padded
    random_numbers random(15);
    std::uint64_t passed_over = 0;
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        std::vector<vmdk_image> layers(1 + random() % 4);
        for (vmdk_image& layer : layers)
            layer = random_layer(random);
        std::vector<byte_image> files = chain_of(layers);
        for (std::size_t i = 0; i < files.size(); ++i)
            shorten(files[i], (layers[i].directory_sector() + 1) * sector, random);
        chain_disk c(files);
        ASSERT_TRUE(c.disk->ok);
        std::vector<bool> held(sectors);
        for (std::uint64_t i = 0; i < sectors; ++i)
            held[i] = c.holds(i * sector);
        for (int query = 0; query < 40; ++query) {
            const std::uint64_t end = 1 + random() % (sectors * sector);
            const std::uint64_t offset = random() % end;
            std::uint64_t expected = offset;
            if (!c.holds(offset)) expected = (expected / sector + 1) * sector;
            while (expected < end && expected > offset && !held[expected / sector])
                expected += sector;
            expected = std::min(expected, end);
            EXPECT_EQ(c.next(offset, end), expected) << offset << " " << end;
            if (expected > offset) expect_zeros_between(c, offset, expected, random);
            passed_over += expected - offset;
        }
    }
    EXPECT_GT(passed_over, sectors * sector);
}

// --- tables that overlap ---

// A file of 2 MiB with a directory of 128 entries for tables of 1 MiB. All entries are small, and
// most of them 0.
byte_image overlapping_tables(random_numbers& random) {
    constexpr std::uint64_t size = 2 << 20, directory = 8;
    byte_image file(size);
    for (int i = 0; i < 4000; ++i)
        file.put(0x2000 + random() % (size - 0x2000), 1 + random() % 0xFF, 1);
    file.put_bytes(0, bytes(0x1200));
    file.put_text(0, "KDMV").put(12, std::uint64_t{1} << 40, 8).put(20, 1, 8).put(28, 1, 8);
    file.put(36, 1, 8).put(44, 0x40000, 4).put(56, directory, 8).put(64, directory + 1, 8);
    file.put_text(512, "CID=00000001\nparentCID=ffffffff\n");
    file.put(directory * 512, directory + 1, 4);
    for (std::uint64_t i = 1; i < 128; ++i)
        file.put(directory * 512 + 4 * i, random() % (size / 512 + 100), 4);
    return file;
}

TEST(VmdkHeld, OverlappingTablesAreLookedUpExactly) {
    random_numbers random(4);
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        chain_disk c(std::vector<byte_image>{overlapping_tables(random)});
        ASSERT_TRUE(c.disk->ok);
        const vmdk_extent& extent = *c.disk->vmdk->base;
        EXPECT_EQ(extent.grains.num_tables(), 128u);
        EXPECT_LE(extent.grains.num_held_entries() * 4, 4u << 20);
        for (int i = 0; i < 20000; ++i) {
            const std::uint64_t offset = random() % (130 * extent.table_span);
            std::uint64_t position = 0;
            const bool found = extent.find_grain(offset, position);
            const auto expected = c.models[0].position(offset);
            ASSERT_EQ(found, expected.has_value()) << offset;
            if (!found) continue;
            ASSERT_EQ(position, *expected) << offset;
        }
    }
}

TEST(VmdkHeld, SearchOfOverlappingTablesSkipsNoByte) {
    random_numbers random(5);
    const chain_disk c(std::vector<byte_image>{overlapping_tables(random)});
    ASSERT_TRUE(c.disk->ok);
    const std::uint64_t span = c.disk->vmdk->base->table_span;
    std::uint64_t exact = 0;
    for (int i = 0; i < 2000; ++i) {
        const std::uint64_t offset = random() % (130 * span);
        const std::uint64_t next = c.next(offset, offset + span);
        ASSERT_GE(next, offset);
        ASSERT_LE(next, offset + span);
        for (std::uint64_t skipped = offset; skipped < next; skipped += 1 + random() % 100000)
            ASSERT_FALSE(c.holds(skipped)) << skipped;
        for (std::uint64_t near = 1; near <= std::min<std::uint64_t>(next - offset, 10000);
             near += sector)
            ASSERT_FALSE(c.holds(next - near)) << next - near;
        if (c.holds(next)) ++exact;
    }
    EXPECT_GT(exact, 1000u);
}

}  // namespace
