// Records that no document has, as JSON: what the driver saw of a file, and the e-mail that it came in.
#pragma once

#include <kx_util/drv_xml_data.h>
#include <kx_util/src_email_data.h>

#include <nlohmann/json.hpp>

/// What it holds: what is not there has no member.
nlohmann::ordered_json KxRecordJson_OfDriver(const CkxDrvXmlData& data);

nlohmann::ordered_json KxRecordJson_OfEmail(const CkxSrcEmailData& email);

/// Throws CkxDocumentFault for what is no such record.
CkxSrcEmailData KxRecordJson_ReadEmail(const nlohmann::json& value, const std::string& pointer);
