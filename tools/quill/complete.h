// Finds what can follow the words of a command line, for completion in shells.
#pragma once

#include <span>

#include "command.h"

namespace quill::cli {

// Prints each choice on a line, followed by a tab and its description. The words are those after the command.
void print_choices(const Command &command, std::span<char *> words);

}  // namespace quill::cli
