// What is told of source records beside their fields: the kind of source, who brought the file, from where.
#pragma once

#include <kx_util/file_origin.h>

#include <nlohmann/json_fwd.hpp>

/// "mainSourceType", and for a record that has one "mainSourceName", "mainSourceDetail" and "mainSourceOrder".
void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileSrcInstaller& installer);
void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileOrigin& origin);

/// The same of a process, with "displayName", "humanName" and "deleted".
void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileSrcProcess& process);
