#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "storage/vmdk/vmdk_chain.h"
#include "storage/vmdk/vmdk_check.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

namespace {

constexpr std::size_t no_size = SIZE_MAX;
std::size_t refused_size = no_size;  // size in bytes for which new without exceptions fails

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (size == refused_size) return nullptr;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

using support::temp_dir;
using support::vmdk_image;

constexpr std::uint32_t none = 0xFFFFFFFF;

// A file with one grain; without a `hint` the descriptor has no line for it.
vmdk_image file(std::uint32_t cid, std::uint32_t parent_cid, const std::string& hint = {}) {
    vmdk_image image({.grain_size = 8});
    image.grain(0, support::pattern(4096, cid));
    return image.cid(cid).parent(parent_cid, hint);
}

struct check {
    bool result = false;
    std::string text;
    std::vector<std::wstring> list;
};

check run(const std::vector<std::wstring>& paths) {
    check c;
    c.list = {L"is replaced"};
    std::ostringstream out;
    c.result = check_vmdk_chain(paths, out, c.list);
    c.text = out.str();
    return c;
}

// Files in a directory of their own; paths are given and expected by name.
class VmdkCheck : public testing::Test {
protected:
    void save(const std::string& name, const vmdk_image& image) { image.save(dir.file(name)); }

    std::string path(const std::string& name) const { return dir.file(name); }

    check run(const std::vector<std::string>& names) const { return ::run(wide_paths(names)); }

    std::vector<std::wstring> wide_paths(const std::vector<std::string>& names) const {
        std::vector<std::wstring> paths;
        for (const std::string& name : names)
            paths.push_back(widened(path(name)));
        return paths;
    }

    // Returns the two lines about a file whose parent was not in the list.
    std::string depends(const std::string& child, const std::string& hint) const {
        return "=> vmdk file: " + path(child) + "\n depends on parent vmdk \"" + hint + "\"\n";
    }

    std::string cant_be_opened(const std::string& name) const {
        return path(name) + " can't be opened\n";
    }

    temp_dir dir;
};

constexpr char missing_parent[] =
    "Child VMDK points to a parent VMDK that doesn't exist, aborting\n";
constexpr char cid_errors[] = "Child VMDK CID errors, aborting\n";

TEST_F(VmdkCheck, CompleteChainsPassWithoutAMessage) {
    save("a", file(1, none));
    save("b", file(2, 1, "a"));
    save("c", file(3, 2, "b"));
    for (const std::vector<std::string>& names : std::vector<std::vector<std::string>>{
             {"a"}, {"a", "b"}, {"b", "a"}, {"c", "a", "b"}, {"a", "a"}}) {
        const check c = run(names);
        EXPECT_TRUE(c.result);
        EXPECT_EQ(c.text, "");
        EXPECT_EQ(c.list, wide_paths(names));
    }
}

TEST_F(VmdkCheck, EmptyListFailsWithoutAMessage) {
    const check c = run({});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");
    EXPECT_TRUE(c.list.empty());
}

TEST_F(VmdkCheck, UnreadableFileIsNamed) {
    save("a", file(1, none));
    save("bad magic", file(2, 1).put_text(0, "VMDK"));
    dir.write("text", "# Disk DescriptorFile\n");
    for (const std::string name : {"missing", "bad magic", "text"}) {
        const check c = run({"a", name});
        EXPECT_FALSE(c.result);
        EXPECT_EQ(c.text, cant_be_opened(name));
        EXPECT_EQ(c.list, wide_paths({"a", name}));
    }
    EXPECT_EQ(::run({L""}).text, " can't be opened\n");
}

TEST_F(VmdkCheck, HeaderThatStatesMoreThanTheFileOpens) {
    save("overhead", file(1, none).put(64, 1ull << 40, 8));
    save("descriptor", file(1, none).put(36, 1ull << 40, 8));
    for (const std::string name : {"overhead", "descriptor"}) {
        const check c = run({name});
        EXPECT_TRUE(c.result);
        EXPECT_EQ(c.text, "");
        EXPECT_EQ(c.list, wide_paths({name}));
    }
}

TEST_F(VmdkCheck, ExtentWithoutMemoryEndsTheCheck) {
    save("a", file(1, none));
    refused_size = sizeof(vmdk_extent);
    const check c = run({"a"});
    refused_size = no_size;
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "prob creating virtual vmware disk mapping\n");
    EXPECT_EQ(c.list, wide_paths({"a"}));
}

TEST_F(VmdkCheck, MissingParentIsFoundByItsHint) {
    save("base.vmdk", file(1, none));
    save("delta.vmdk", file(2, 1, "base.vmdk"));
    const check c = run({"delta.vmdk"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta.vmdk", "base.vmdk"));
    EXPECT_EQ(c.list, wide_paths({"delta.vmdk", "base.vmdk"}));
    EXPECT_TRUE(::run(c.list).result);
}

TEST_F(VmdkCheck, EachMissingParentNeedsAPass) {
    // A hint that is a part of the folder's random name would be treated as listed: these are
    // longer.
    save("base.vmdk", file(1, none));
    save("middle.vmdk", file(2, 1, "base.vmdk"));
    save("last.vmdk", file(3, 2, "middle.vmdk"));
    const check c = run({"last.vmdk"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("last.vmdk", "middle.vmdk") + depends("middle.vmdk", "base.vmdk"));
    EXPECT_EQ(c.list, wide_paths({"last.vmdk", "middle.vmdk", "base.vmdk"}));
}

TEST_F(VmdkCheck, ParentThatDoesNotExistAborts) {
    save("delta", file(2, 1, "gone.vmdk"));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, missing_parent);
    EXPECT_EQ(c.list, wide_paths({"delta"}));
}

TEST_F(VmdkCheck, MissingFolderOfTheHintIsReplaced) {
    save("base.vmdk", file(1, none));
    save("delta", file(2, 1, "/no such folder/base.vmdk"));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta", path("base.vmdk")));
    EXPECT_EQ(c.list, wide_paths({"delta", "base.vmdk"}));
}

TEST_F(VmdkCheck, ReplacedFolderIsNotTriedBeforeTheNextPass) {
    save("delta", file(2, 1, "/no such folder/base.vmdk"));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta", path("base.vmdk")) + cant_be_opened("base.vmdk"));
    EXPECT_EQ(c.list, wide_paths({"delta", "base.vmdk"}));
}

TEST_F(VmdkCheck, HintWithAnExistingFolderIsUsedUnchanged) {
    const temp_dir elsewhere;
    file(1, none).save(elsewhere.file("base.vmdk"));
    save("delta", file(2, 1, elsewhere.file("base.vmdk")));
    const check c = run({"delta"});
    EXPECT_EQ(c.text, depends("delta", elsewhere.file("base.vmdk")));
    EXPECT_EQ(c.list.back(), widened(elsewhere.file("base.vmdk")));
}

TEST_F(VmdkCheck, ClosingSeparatorOfAHintIsRemovedForTheTestOnly) {
    save("base.vmdk", file(1, none));
    save("delta", file(2, 1, path("base.vmdk") + "/"));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta", path("base.vmdk/")) + cant_be_opened("base.vmdk/"));
}

TEST_F(VmdkCheck, EncodingDefinesTheSeparatorOfTheHint) {
    save("base.vmdk", file(1, none));
    const std::string hint = "C:\\vm\\base.vmdk";
    save("windows", file(2, 1, hint).line("encoding=\"windows-1252\""));
    check c = run({"windows"});
    EXPECT_EQ(c.text, depends("windows", path("base.vmdk")));
    EXPECT_EQ(c.list, wide_paths({"windows", "base.vmdk"}));

    // Otherwise a backslash is a part of a name, and that file is not next to the delta.
    save("capital", file(2, 1, hint).line("encoding=\"Windows-1252\""));
    EXPECT_EQ(run({"capital"}).text, missing_parent);
    save("none", file(2, 1, hint));
    EXPECT_EQ(run({"none"}).text, missing_parent);
    // And with it, a slash is not a separator.
    save("slash", file(2, 1, "vm/base.vmdk").line("encoding=\"windows-1252\""));
    EXPECT_EQ(run({"slash"}).text, missing_parent);
}

TEST_F(VmdkCheck, PrefixIsTheFolderOfTheFirstFileThatHasOne) {
    const temp_dir elsewhere;
    save("other base", file(9, none));
    save("base.vmdk", file(1, none));
    // The child has the lowest CID, so that no base is known when it is reached.
    file(0, 1, "base.vmdk").save(elsewhere.file("delta"));
    const check c = ::run({widened(path("other base")), widened(elsewhere.file("delta"))});
    EXPECT_EQ(c.list.back(), widened(path("base.vmdk")));
    EXPECT_EQ(c.text, "=> vmdk file: " + elsewhere.file("delta") +
                          "\n depends on parent vmdk \"base.vmdk\"\n");
}

TEST_F(VmdkCheck, QuotesAreNotAPartOfAPath) {
    save("base.vmdk", file(1, none));
    save("delta", file(2, 1).line("parentFileNameHint=ba\"se.vm\"dk"));
    const check c = run({"delta"});
    EXPECT_EQ(c.list, wide_paths({"delta", "base.vmdk"}));
    EXPECT_EQ(c.text,
              "=> vmdk file: " + path("delta") + "\n depends on parent vmdk ba\"se.vm\"dk\n");
}

TEST_F(VmdkCheck, QuotesOfTheFolderAreNotAPartOfTheParentsPath) {
    const std::string folder = dir.file("a\"b");
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    const std::string base = file(1, none).save(folder + "/base.vmdk");
    const std::string delta = file(2, 1, "base.vmdk").save(folder + "/delta");
    // Without its quote the folder does not exist: the name is searched next to the delta.
    const check c = ::run({widened(delta)});
    EXPECT_EQ(c.text, "=> vmdk file: " + delta + "\n depends on parent vmdk \"" + base + "\"\n");
    EXPECT_EQ(c.list, (std::vector<std::wstring>{widened(delta), widened(base)}));
}

TEST_F(VmdkCheck, BackslashSplitsANameBeforeASlashDoes) {
    save("base.vmdk", file(1, none));
    save("slash", file(2, 1, "/no such folder/a\\base.vmdk"));
    const check c = run({"slash"});
    EXPECT_EQ(c.text, depends("slash", path("base.vmdk")));
    EXPECT_EQ(c.list, wide_paths({"slash", "base.vmdk"}));
}

TEST_F(VmdkCheck, HintIsUtf8) {
    const std::string name =
        "Gr\xC3\xB6\xC3\x9F"
        "e.vmdk";
    save(name, file(1, none));
    save("delta", file(2, 1, name));
    const check c = run({"delta"});
    EXPECT_EQ(c.text, depends("delta", name));
    EXPECT_EQ(c.list.back(), widened(dir.path()) + L"/Größe.vmdk");
}

TEST_F(VmdkCheck, FileThatIsItsOwnParentAborts) {
    save("ring", file(5, 5, "ring"));
    check c = run({"ring"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, cid_errors);
    EXPECT_EQ(c.list, wide_paths({"ring"}));

    save("base", file(1, none));
    EXPECT_EQ(run({"base", "ring"}).text, cid_errors);
}

TEST_F(VmdkCheck, FileWithoutCidsIsItsOwnParent) {
    save("bare", file(1, none).descriptor("# Disk DescriptorFile\n"));
    EXPECT_EQ(run({"bare"}).text, cid_errors);
    save("empty", file(1, none).descriptor("CID=\nparentCID=\n"));
    EXPECT_EQ(run({"empty"}).text, cid_errors);
}

TEST_F(VmdkCheck, BaseWhoseCidIsTheMarkIsNotARing) {
    save("base", file(none, none));
    EXPECT_TRUE(run({"base"}).result);
}

TEST_F(VmdkCheck, OrphanBeforeTheRingIsReachedFirst) {
    save("orphan", file(1, 7, "gone"));
    save("ring", file(5, 5, "ring"));
    EXPECT_EQ(run({"ring", "orphan"}).text, missing_parent);
}

TEST_F(VmdkCheck, RingOfTwoHasNoBase) {
    save("a", file(1, 2, "b"));
    save("b", file(2, 1, "a"));
    const check c = run({"a", "b"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");
}

TEST_F(VmdkCheck, UpperCaseLettersAreNotTheMarkOfABase) {
    save("disk", file(1, 1).descriptor("CID=1\nparentCID=FFFFFFFF\nparentFileNameHint=\"gone\"\n"));
    EXPECT_EQ(run({"disk"}).text, missing_parent);
}

TEST_F(VmdkCheck, BaseIsTheParentIfItsNameContainsTheHint) {
    save("base.vmdk", file(1, none));
    save("delta", file(2, 7, "base.vmdk"));  // another CID
    const check c = run({"base.vmdk", "delta"});
    EXPECT_TRUE(c.result);
    EXPECT_EQ(c.text, "");
}

TEST_F(VmdkCheck, OnlyTheBaseIsComparedOnceItIsKnown) {
    save("base", file(1, none));
    save("middle.vmdk", file(3, 1, "base"));
    save("delta", file(2, 7, "middle.vmdk"));
    const check c = run({"base", "middle.vmdk", "delta"});
    EXPECT_FALSE(c.result);
    // The parent opens, but it is in the list already.
    EXPECT_EQ(c.text, depends("delta", "middle.vmdk"));
    EXPECT_EQ(c.list, wide_paths({"base", "middle.vmdk", "delta"}));
}

TEST_F(VmdkCheck, AnyNameMatchesWhileNoBaseIsKnown) {
    save("base.vmdk", file(9, none));  // its CID comes last
    save("delta", file(2, 7, "base.vmdk"));
    const check c = run({"base.vmdk", "delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");
    EXPECT_EQ(c.list, wide_paths({"base.vmdk", "delta"}));
}

TEST_F(VmdkCheck, NameOfTheChildItselfMatches) {
    save("base", file(9, none));
    save("child of parent.vmdk", file(2, 7, "parent.vmdk"));
    const check c = run({"base", "child of parent.vmdk"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");

    // A single file is not a chain, and the file of that name is searched.
    EXPECT_EQ(run({"child of parent.vmdk"}).text, missing_parent);
}

TEST_F(VmdkCheck, EmptyHintIsPartOfEveryName) {
    save("base", file(1, none));
    save("delta", file(2, 7));
    EXPECT_TRUE(run({"base", "delta"}).result);

    save("late base", file(9, none));
    const check c = run({"late base", "delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");

    save("malformed", file(2, 7, "\xFF"));
    EXPECT_TRUE(run({"base", "malformed"}).result);
}

TEST_F(VmdkCheck, EmptyHintOfASingleFileDependsOnTheFolder) {
    save("delta", file(2, 7));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "=> vmdk file: " + path("delta") + "\n depends on parent vmdk \n" +
                          cant_be_opened(""));
    EXPECT_EQ(c.list, wide_paths({"delta", ""}));
}

TEST_F(VmdkCheck, MalformedHintWithAFolderIsAnEmptyPath) {
    save("delta", file(2, 7, "folder/\xFF"));
    const check c = run({"delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta", "folder/\xFF") + " can't be opened\n");
    EXPECT_EQ(c.list.back(), L"");
}

TEST_F(VmdkCheck, ParentWithAnotherCidIsAddedOnce) {
    save("base", file(1, none));
    save("parent.vmdk", file(8, none));
    save("delta", file(2, 7, "parent.vmdk"));
    const check c = run({"base", "delta"});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, depends("delta", "parent.vmdk") + depends("delta", "parent.vmdk"));
    EXPECT_EQ(c.list, wide_paths({"base", "delta", "parent.vmdk"}));
}

TEST_F(VmdkCheck, FilesWithoutAFolderHaveNoPrefix) {
    save("base.vmdk", file(1, none));
    save("delta", file(2, 1, "base.vmdk"));
    save("lost", file(2, 1, "/no such folder/base.vmdk"));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    const check found = ::run({L"delta"});
    const check lost = ::run({L"lost"});
    std::filesystem::current_path(before);
    EXPECT_EQ(found.text, "=> vmdk file: delta\n depends on parent vmdk \"base.vmdk\"\n");
    EXPECT_EQ(found.list, (std::vector<std::wstring>{L"delta", L"base.vmdk"}));
    EXPECT_EQ(lost.text, missing_parent);
}

TEST_F(VmdkCheck, AllFilesAreClosedAgain) {
    const auto open_files = [] {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            count += entry.path().empty() ? 0u : 1u;
        }
        return count;
    };
    save("a", file(1, none));
    save("b", file(2, 1, "a"));
    const std::size_t before = open_files();
    run({"b"});
    run({"a", "a", "b"});
    run({"a", "missing"});
    EXPECT_EQ(open_files(), before);
}

}  // namespace
