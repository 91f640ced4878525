#include "support/sample_snapshot.h"

#include "support/filetime.h"
#include "support/sample_volume.h"
#include "support/vmdk_image.h"

namespace support {

namespace {

constexpr std::uint64_t grain_size = 65536;
constexpr std::uint32_t base_cid = 0x10000000, snapshot_cid = 0x10000001;

standard_information_options information(std::uint64_t created, std::uint64_t changed) {
    return {.times = {created, changed, changed, changed}};
}

// Returns the grains of `changed` that differ from those of `original`.
vmdk_image changes(const byte_image& original, const byte_image& changed) {
    vmdk_image delta({.capacity = vmdk_image().content(original).capacity()});
    for (std::uint64_t at = 0; at < changed.size(); at += grain_size) {
        const bytes grain = changed.get_bytes(at, grain_size);
        if (grain != original.get_bytes(at, grain_size)) delta.grain(at / grain_size, grain);
    }
    return delta;
}

}  // namespace

ntfs_image changed_sample_volume() {
    constexpr std::uint64_t written = filetime(2020, 6, 19, 16, 5, 0);
    constexpr std::uint64_t letter_created = filetime(2020, 6, 15, 10, 35, 0);
    ntfs_image volume = sample_volume();

    directory_index& index = volume.index(sample::documents);
    index.clear();
    volume.entry(sample::empty).flags(0).sequence(2);

    const file_name_options letter_name = {.times = file_times::all(letter_created)};
    volume.entry(sample::letter)
        .remove(type::standard_information)
        .remove(type::data)
        .standard_information(information(letter_created, written))
        .data("Dear all,\nsee you on Monday.\n");
    index.add(volume.reference(sample::letter),
              file_name_value(sample::documents, u"letter.txt", letter_name));

    volume
        .file(sample::documents, u"plan.txt", sample::plan, {.times = file_times::all(written)},
              information(written, written))
        .data("1. Leave on Saturday.\n");
    return volume;
}

void save_snapshot_chain(const std::string& base, const std::string& snapshot) {
    const byte_image original = sample_disk();
    vmdk_image().content(original).cid(base_cid).save(base);
    changes(original, disk_around(changed_sample_volume()))
        .cid(snapshot_cid)
        .parent(base_cid, base.substr(base.rfind('/') + 1))
        .save(snapshot);
}

}  // namespace support
