// What a file holds, told from its first bytes, whatever it is called.
#pragma once

#include <kx_util/target_facts.h>

class IkxByteSource;

EkxFileContent KxContent_Of(const IkxByteSource& file);
