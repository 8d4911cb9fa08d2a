// What can follow the words of a command line, for the shells' completion.
#pragma once

#include <span>

#include "command.h"

namespace quill::cli {

// Prints a choice a line, and after a tab what it is for. The words are those after the command.
void print_choices(const Command &command, std::span<char *> words);

}  // namespace quill::cli
