#include "run/option_words.h"

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

std::vector<option_word> all_words() {
    std::vector<option_word> out(std::begin(words), std::end(words));
    for (const option_spec& option : common_options())
        out.push_back({option.word, option.form});
    return out;
}
