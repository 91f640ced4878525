// VMDK files: checking and linking a chain, and reading its disk.
//
// Input: u8 number of files (bits 0 and 1, plus 1) and which of them the command line names (bits 2
// to 5; the others are in the same folder for the search for parents), u16 size of each file except
// the last in units of 512 bytes, u64 position on the disk, then the files, which are named a.vmdk
// to d.vmdk.
#include <algorithm>
#include <sstream>

#include "fuzz_support.h"
#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/volume/ntfs.h"
#include "storage/disk/raw_disk.h"
#include "storage/opening/source_opening.h"
#include "storage/vmdk/vmdk_chain.h"
#include "storage/vmdk/vmdk_check.h"
#include "storage/volumes/source_check.h"

namespace {

const fuzz::scratch_folder& folder() {
    static const fuzz::scratch_folder made;
    return made;
}

// Writes the files and returns the names for the command line.
std::vector<std::wstring> write_files(fuzz::input& in, std::uint8_t shape, std::uint64_t& place) {
    const std::size_t count = (shape & 3u) + 1;
    std::vector<std::size_t> sizes;
    for (std::size_t i = 0; i + 1 < count; ++i)
        sizes.push_back(std::size_t{in.u16()} * 512);
    place = in.u64();

    folder().clear();
    std::vector<std::wstring> listed;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name{static_cast<char>('a' + i), '.', 'v', 'm', 'd', 'k'};
        folder().write(name, i < sizes.size() ? in.take(sizes[i]) : in.rest());
        const std::string path = folder().file(name);
        if ((shape >> (2 + i) & 1) == 0) listed.emplace_back(path.begin(), path.end());
    }
    return listed;
}

// A parent hint may name any file of the machine: the target follows only names without a folder.
bool leads_elsewhere(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    constexpr char key[] = "parentfilenamehint=";
    std::string lowered = text;
    for (char& c : lowered)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    for (std::size_t at = lowered.find(key); at != std::string::npos;
         at = lowered.find(key, at + 1)) {
        const std::size_t end = std::min(lowered.find('\n', at), lowered.size());
        if (lowered.find('/', at) < end) return true;
    }
    return false;
}

void read_around(CRawDisk& disk, std::uint64_t place) {
    std::vector<std::uint8_t> buffer(70000);
    for (const std::uint32_t wanted : {1u, 512u, 70000u}) {
        for (const std::uint64_t offset : {std::uint64_t{0}, place, place % (1 << 20)}) {
            std::uint32_t count = wanted;
            if (disk.read_bytes(buffer.data(), count, offset))
                fuzz::require(count <= wanted, "no more is read than was asked for");
        }
    }
}

// What no file holds reads as zeros, wherever the read starts.
void read_gap(CRawDisk& disk, std::uint64_t place) {
    constexpr std::uint64_t size = 70000;
    const std::uint64_t end = place + std::min(size, UINT64_MAX - place);
    const std::uint64_t next = disk.next_held(place, end);
    fuzz::require(next >= place && next <= end, "a gap ends where it was asked to");
    const std::uint64_t start = place - std::min(place, place % 1000);
    std::vector<std::uint8_t> buffer(next - start);
    auto count = static_cast<std::uint32_t>(buffer.size());
    if (next == place || !disk.read_bytes(buffer.data(), count, start)) return;
    const auto gap = buffer.begin() + static_cast<std::ptrdiff_t>(place - start);
    fuzz::require(std::all_of(gap, buffer.end(), [](std::uint8_t b) { return b == 0; }),
                  "a gap is zero");
}

void attach(const std::vector<std::wstring>& files, std::uint64_t offset) {
    std::unique_ptr<CNtfs> ntfs;
    if (!attach_vmdk(ntfs, files, offset)) return;
    std::vector<NTFS_ATTRIB_ROW> rows;
    ntfs->get_attrib_rows(5, rows);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (leads_elsewhere(data, size)) return -1;
    const fuzz::quiet silence;
    fuzz::input in(data, size);
    const std::uint8_t shape = in.u8();
    std::uint64_t place = 0;
    const std::vector<std::wstring> files = write_files(in, shape, place);

    std::ostringstream messages;
    std::vector<std::wstring> suggested;
    if (check_vmdk_chain(files, messages, suggested))
        fuzz::require(suggested == files, "a complete list is left as it is");

    CRawDisk disk(files);
    if (disk.ok) {
        read_around(disk, place);
        for (const std::uint64_t start : {std::uint64_t{0}, place, place % (1 << 20)})
            read_gap(disk, start);
    }

    for (const std::uint64_t given : {std::uint64_t{0}, place}) {
        std::uint64_t offset = given;
        bool found_ntfs = false;
        check_vmdk_list(messages, files, offset, found_ntfs, (shape & 0x80) != 0);
        attach(files, given);
    }
    return 0;
}
