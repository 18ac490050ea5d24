#pragma once

#include <velmioctl/exchange/SecretBox.h>

#include <optional>

namespace velmioctl::exchange {

/// The name of the format, at the start of every export.
constexpr const char* FormatName = "velmio-configuration-export";

/// The version of the format that is written, and the latest one that is read.
constexpr qint64 FormatVersion = 2;

/// What an export holds before its rows.
struct ExportHeader
{
    qint64 formatVersion = FormatVersion;
    qint64 schemaVersion = 0;
    /// No value if the secrets were left out.
    std::optional<SecretParameters> secrets = {};

    /// True if a code at the end shows whether the export was changed.
    bool isSealed() const { return secrets && secrets->sealsExport; }
};

} // namespace velmioctl::exchange
