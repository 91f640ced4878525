// The settings and the working state of one run.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/rows/dir_entry.h"
#include "run/settings/cmd_params.h"

constexpr std::uint32_t no_drive = 0xFFFFFFFF;  // of quorvel_opts::drive_number

class quorvel_opts : public cmd_params {
public:
    quorvel_opts();
    ~quorvel_opts() override;
    quorvel_opts(const quorvel_opts&) = delete;
    quorvel_opts& operator=(const quorvel_opts&) = delete;

    std::ostream* out = nullptr;  // the stream of all reports; not owned
    std::wstring image_path;      // file name of the source
    std::uint32_t drive_number = no_drive;
    std::uint64_t volume_offset = 0;  // bytes
    std::wstring directory;           // the listed path
    dir_entry_set entries;            // rows of the current listing
    std::uint64_t dir_entry_num = 0;  // MFT entry of `directory`
    std::uint8_t show_indx = 0;
    std::uint8_t show_objid = 0;
    std::uint8_t alldates = 0;
    std::uint8_t filepath_only = 0;
    std::uint8_t follow_links = 1;
    std::uint32_t levels = 1;  // 1 means the directory alone
    std::uint8_t no_listing = 0;
    std::uint8_t last_level = 0;  // the writers print subdirectory rows
};
