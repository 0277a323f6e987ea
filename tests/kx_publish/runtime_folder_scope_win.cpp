// The scope that the tests of the ground have, for this program.
#include "tests/Common_CPP/runtime_folder_scope_win.cpp"
