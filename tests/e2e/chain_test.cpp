// Whole runs with a chain of VMDK files: its check, its volume and its messages.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "e2e/chain_fixture.h"
#include "e2e/whole_run.h"
#include "support/partition_image.h"
#include "support/vmdk_image.h"
#include "unit/run/usage_text.h"

namespace {

using e2e::mib;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::whole_run;
using support::byte_image;
using support::vmdk_image;

class Chain : public e2e::chain_fixture {};

TEST_F(Chain, IsReadInsteadOfTheImage) {
    run({"-vmdk", base()}).expect(0, rows("base.txt"), terminal_clearing);
}

TEST_F(Chain, NeedsAnImage) {
    whole_run({"\\docs", "-vmdk", base()})
        .expect(status_failed, "", usage_text + terminal_clearing);
}

TEST_F(Chain, ImageIsCheckedToo) {
    const std::string missing = m_dir.file("missing.dd");
    whole_run({"-vmdk", base(), "-image", missing})
        .expect(status_failed, "", e2e::reported("invalid image: " + missing + "\n"));
    // A partitioned one needs an offset of its own after that of the chain.
    const std::string partitioned = disk().save(m_dir.file("partitioned.dd"));
    whole_run({"-vmdk", base(), "-image", partitioned})
        .expect(status_failed, "",
                e2e::reported("\nvolume offset [ 0x100000 ] : ntfs or exfat\n"
                              "volume offset [ 0x300000 ] : ntfs or exfat\n\n"
                              "use option [-offset 0x300000]\n"));
}

TEST_F(Chain, DeltaInAnyOrderHidesTheBase) {
    const byte_image changed = volume(u"delta.txt");
    const std::vector<std::string> files = support::save_vmdk_chain(
        m_dir.path(), "disk",
        {vmdk_image().cid(1).content(volume(u"base.txt")), vmdk_image().cid(2).content(changed)});
    for (const std::string& list : {files[0] + " | " + files[1], files[1] + ";" + files[0],
                                    files[1] + "," + files[0] + ","}) {
        run({"-vmdk", list}).expect(0, rows("delta.txt"), terminal_clearing);
    }
    run({"-vmdk", files[1], "-vmdk", files[0]}).expect(0, rows("delta.txt"), terminal_clearing);
}

TEST_F(Chain, LastNtfsVolumeIsListedWithoutAnOffset) {
    const std::string file = vmdk_image().content(disk()).save(m_dir.file("disk.vmdk"));
    run({"-vmdk", file}).expect(0, rows("second.txt"), terminal_clearing);
}

TEST_F(Chain, OffsetBelongsToTheChain) {
    const std::string file = vmdk_image().content(disk()).save(m_dir.file("disk.vmdk"));
    run({"-vmdk", file, "-offset", "0x100000"}).expect(0, rows("first.txt"), terminal_clearing);
    // If no volume starts at the offset, that of the last one is used; the size option is removed.
    run({"-ignore_image_size", "-vmdk", file, "-offset", "0x200"})
        .expect(0, rows("second.txt"), terminal_clearing);
    // Without an offset for the chain, it remains and is the directory.
    run({"-ignore_image_size", "-vmdk", file}).expect(0, "", terminal_clearing);
}

TEST_F(Chain, OtherPartitionBeforeTheNtfsOneIsRefused) {
    byte_image content = disk();
    support::put_boot_record(content, 0, {{0x82, 64, 16}, {7, 2048, 2048}, {0x82, 6144, 2048}});
    content.put_bytes(3 * mib, support::bytes(512));  // the third one contains no volume
    const std::string file = vmdk_image().content(content).save(m_dir.file("disk.vmdk"));
    const std::string list =
        "\n"
        "volume offset [ 0x8000 ] : linux swap\n"
        "volume offset [ 0x100000 ] : ntfs or exfat\n"
        "volume offset [ 0x300000 ] : linux swap\n"
        "\n";
    expect_refused({"-vmdk", file, "-offset", "0x8000"},
                   "volume offset selected 0x8000 is not a NTFS partition, but [linux swap]\n" +
                       list + "prob detecting ntfs partition\n\n");
    // At an offset after it, the NTFS volume has already been found and is used instead.
    run({"-vmdk", file, "-offset", "0x300000"}).expect(0, rows("first.txt"), terminal_clearing);
}

TEST_F(Chain, VolumeThatEndsPastTheDiskIsListed) {
    byte_image content = disk();
    support::put_boot_record(content, 0, {{7, 2048, 0x100000}});
    const std::string file = vmdk_image().content(content).save(m_dir.file("disk.vmdk"));
    run({"-vmdk", file, "-offset", "0x100000"}).expect(0, rows("first.txt"), terminal_clearing);
}

TEST_F(Chain, SecondOffsetIsThatOfTheImage) {
    const std::string file = vmdk_image().content(disk()).save(m_dir.file("disk.vmdk"));
    run({"-vmdk", file, "-offset", "0x100000", "-offset", "0x200"})
        .expect(status_failed, "",
                e2e::reported("\nvolume offset [ 0x0 ] : ntfs or exfat\n\n"
                              "prob detecting ntfs partition\n"));
}

TEST_F(Chain, OffsetPastTheDiskIsOutOfBounds) {
    const std::string file = vmdk_image().content(disk()).save(m_dir.file("disk.vmdk"));
    expect_refused({"-vmdk", file, "-offset", "0x500001"},
                   "volume offset 0x500001 is not within image bounds\n\n");
}

TEST_F(Chain, DiskWithoutPartitionsIsReported) {
    const std::string file =
        vmdk_image().grain(0, support::bytes(65536)).save(m_dir.file("disk.vmdk"));
    expect_refused({"-vmdk", file}, "couldn't find any partitions on disk\n\n");
}

TEST_F(Chain, EntryIsLookedUpInTheImageAndListedInTheChain) {
    // Entry 64 is \image.txt there, which the chain does not contain.
    run({"-vmdk", base(), "-mft", "64"}).expect(0, "", terminal_clearing);
    run({"-vmdk", base(), "-mft", "5"}).expect(0, rows("base.txt"), terminal_clearing);
}

TEST_F(Chain, FileThatCannotBeOpenedIsReported) {
    const std::string missing = m_dir.file("missing.vmdk");
    expect_refused({"-vmdk", missing}, missing + " can't be opened\n\n" + suggestion(missing));
    const std::string present = base();
    expect_refused({"-vmdk", present + " | " + m_image},
                   m_image + " can't be opened\n\n" + suggestion(present + " | " + m_image));
}

TEST_F(Chain, MissingParentIsSuggested) {
    const std::vector<std::string> files =
        support::save_vmdk_chain(m_dir.path(), "disk",
                                 {vmdk_image().cid(1).content(volume(u"base.txt")),
                                  vmdk_image().cid(2).content(volume(u"delta.txt"))});
    expect_refused({"-vmdk", files[1]}, "=> vmdk file: " + files[1] +
                                            "\n depends on parent vmdk \"disk.vmdk\"\n\n" +
                                            suggestion(files[1] + " | " + files[0]));
}

TEST_F(Chain, ParentInAnotherFolderIsSearchedNextToTheChild) {
    const std::string child = vmdk_image()
                                  .cid(2)
                                  .parent(1, "/no such folder/disk.vmdk")
                                  .content(volume(u"delta.txt"))
                                  .save(m_dir.file("child.vmdk"));
    const std::string parent = m_dir.file("disk.vmdk");
    const std::string depends =
        "=> vmdk file: " + child + "\n depends on parent vmdk \"" + parent + "\"\n";
    expect_refused({"-vmdk", child},
                   depends + parent + " can't be opened\n\n" + suggestion(child + " | " + parent));
    vmdk_image().cid(1).content(volume(u"base.txt")).save(parent);
    expect_refused({"-vmdk", child}, depends + "\n" + suggestion(child + " | " + parent));
}

TEST_F(Chain, ParentThatDoesNotExistIsReported) {
    const std::string child = vmdk_image()
                                  .cid(2)
                                  .parent(1, "disk.vmdk")
                                  .content(volume(u"delta.txt"))
                                  .save(m_dir.file("child.vmdk"));
    expect_refused(
        {"-vmdk", child},
        "Child VMDK points to a parent VMDK that doesn't exist, aborting\n\n" + suggestion(child));
}

TEST_F(Chain, FileThatIsItsOwnParentIsRefused) {
    const std::string file = vmdk_image()
                                 .cid(7)
                                 .parent(7, "disk.vmdk")
                                 .content(volume(u"delta.txt"))
                                 .save(m_dir.file("ring.vmdk"));
    expect_refused({"-vmdk", file}, "Child VMDK CID errors, aborting\n\n" + suggestion(file));
}

TEST_F(Chain, ChainThatOpensButDoesNotLinkIsInvalid) {
    // The child names no file, so that the check accepts any file as its parent, but none has the
    // CID.
    const std::string first =
        vmdk_image().cid(1).content(volume(u"base.txt")).save(m_dir.file("base.vmdk"));
    const std::string child = vmdk_image()
                                  .cid(2)
                                  .parent(9, "")
                                  .content(volume(u"delta.txt"))
                                  .save(m_dir.file("child.vmdk"));
    expect_refused({"-vmdk", first + "|" + child}, "invalid disk collection of snaps \n\n");
}

TEST_F(Chain, EmptyListPrintsAnEmptyLine) {
    for (const char* list : {"|,;", "", "\xFF"})
        expect_refused({"-vmdk", list}, "\n");
}

TEST_F(Chain, OptionAsLastArgumentIsTheDirectory) {
    run({"-vmdk"}).expect(0, "", terminal_clearing);
    run({"\\", "-vmdk"}).expect(0, rows("image.txt"), terminal_clearing);
}

}  // namespace
