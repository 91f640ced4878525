// quorvel-option-table: prints every option and the form of its value, one per line, as
// "-option<tab>form". Tests compare the manual and the completions with it.
#include <iostream>

#include "run/options/option_scan.h"
#include "run/options/option_words.h"

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
