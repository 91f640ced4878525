// quorvel-option-table: prints every word of the command line and what follows it, one a line,
// as "-word<tab>form". The manual and the completions are held against it.
#include <iostream>

#include "run/option_words.h"

namespace {

const char* form_name(option_form form) {
    switch (form) {
        case option_form::flag:
            return "flag";
        case option_form::value:
            return "value";
        case option_form::values:
            return "values";
    }
    return "";
}

}  // namespace

int main() {
    for (const option_word& known : all_words())
        std::cout << known.text << '\t' << form_name(known.form) << '\n';
    return 0;
}
