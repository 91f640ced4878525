#include "run/options/option_words.h"

namespace {

constexpr option_word words[] = {
    word::help_h,
    word::help,
    word::help_slash,
    word::help_long,
    word::append,
    word::xml,
    word::vmdk,
    word::filepath_only,
    word::indx,
    word::offset,
    word::mft,
    word::objid,
    word::alldates,
    word::recurse,
    word::level,
    word::image,
    word::ignore_image_size,
    word::drivenum,
};

}  // namespace

std::span<const option_word> driver_words() { return words; }
