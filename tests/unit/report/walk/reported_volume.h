// The report of a directory of a test volume.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "report/walk/enumerator.h"
#include "unit/report/listed_volume.h"

namespace listing {

class Enumerator : public volume_test {
protected:
    // Returns the complete output of listing `path`, which is the entry `number`.
    std::string report(const std::wstring& path, std::uint64_t number) {
        const std::unique_ptr<CNtfs> ntfs = open();
        opts.entries.clear();
        opts.directory = path;
        opts.dir_entry_num = number;
        result = report_directory(opts, *ntfs);
        return written();
    }

    bool result = false;
};

}  // namespace listing
