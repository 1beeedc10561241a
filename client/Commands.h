#pragma once

/// Runs a command, the first of the words, and returns the exit status. Of the module that `quillon` loads for
/// commands.
extern "C" [[gnu::visibility("default")]] int quillonRunCommand(int count, const char* const* words);
