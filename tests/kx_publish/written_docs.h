// Documentation that is rendered, and held against the file that is in the tree.
#pragma once

#include <string>

/// The file at `path`, from the root of the sources where tests run, has the lines of `rendered`. With KX_WRITE_DOCS in
/// the environment it is written first.
void KxTest_ExpectWritten(const char* path, const std::string& rendered);
