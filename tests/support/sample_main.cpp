// quorvel-sample: writes images for trying out the program.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "support/behaviour_volume.h"
#include "support/hostile_volume.h"
#include "support/sample_snapshot.h"
#include "support/sample_volume.h"
#include "support/vmdk_image.h"

namespace {

constexpr const char* usage =
    "usage: quorvel-sample demo <file>   an NTFS volume with something of everything\n"
    "       quorvel-sample mbr <file>    the same in a partitioned disk, at offset 0x100000\n"
    "       quorvel-sample windows <file>\n"
    "                                    a disk with that volume and, after it, a recovery volume\n"
    "       quorvel-sample later <file>  the first disk some days later\n"
    "       quorvel-sample vmdk <file>   the first disk as a virtual disk file\n"
    "       quorvel-sample chain <base> <snapshot>\n"
    "                                    the same, and what is changed some days later\n"
    "       quorvel-sample behaviour <file>\n"
    "                                    an NTFS volume for docs/behaviour.md\n"
    "       quorvel-sample damaged <file>\n"
    "                                    an NTFS volume that states sizes beyond its end\n"
    "       quorvel-sample hostile <file>\n"
    "                                    an NTFS volume with misleading names\n"
    "       quorvel-sample extended <file>\n"
    "                                    a disk with NTFS at sector 63 and an extended partition\n"
    "       quorvel-sample <kind> <directories> <files in each> <file>\n"
    "                                    an NTFS volume with that many files, of the kinds\n"
    "         many                       plain\n"
    "         many-streams               each file with ten streams\n"
    "         many-mft-fragments         $MFT in 5000 fragments\n"
    "         many-index-fragments       each index block in a fragment of its own\n"
    "         many-scattered             at random places in a $MFT of 40 times as many records\n";

// Returns true if an argument names a volume of many files, and sets its options.
bool read_kind(const std::string& word, support::many_files_options& options) {
    if (word == "many-streams") {
        options.streams = 10;
    } else if (word == "many-mft-fragments") {
        options.mft_fragments = 5000;
    } else if (word == "many-index-fragments") {
        options.scattered_indexes = true;
    } else if (word == "many-scattered") {
        options.scatter = 40;
    } else {
        return word == "many";
    }
    return true;
}

bool write_image(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[0] == "demo") {
        support::sample_volume().save(words[1]);
    } else if (words.size() == 2 && words[0] == "mbr") {
        support::sample_disk().save(words[1]);
    } else if (words.size() == 2 && words[0] == "windows") {
        support::disk_with_recovery_volume().save(words[1]);
    } else if (words.size() == 2 && words[0] == "vmdk") {
        support::vmdk_image().content(support::sample_disk()).save(words[1]);
    } else if (words.size() == 2 && words[0] == "later") {
        support::disk_around(support::changed_sample_volume()).save(words[1]);
    } else if (words.size() == 3 && words[0] == "chain") {
        support::save_snapshot_chain(words[1], words[2]);
    } else if (words.size() == 2 && words[0] == "behaviour") {
        support::behaviour_volume().save(words[1]);
    } else if (words.size() == 2 && words[0] == "damaged") {
        support::damaged_volume().save(words[1]);
    } else if (words.size() == 2 && words[0] == "hostile") {
        support::hostile_volume().save(words[1]);
    } else if (words.size() == 2 && words[0] == "extended") {
        support::disk_with_extended_partition().save(words[1]);
    } else if (support::many_files_options options;
               words.size() == 4 && read_kind(words[0], options)) {
        options.directories = std::strtoull(words[1].c_str(), nullptr, 10);
        options.files = std::strtoull(words[2].c_str(), nullptr, 10);
        support::save_many_files_volume(words[3], options);
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (!write_image({argv + 1, argv + argc})) {
            std::cerr << usage;
            return 2;
        }
    } catch (const std::exception& failure) {
        std::cerr << "quorvel-sample: " << failure.what() << "\n";
        return 1;
    }
    return 0;
}
