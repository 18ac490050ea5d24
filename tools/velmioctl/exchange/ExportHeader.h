#pragma once

#include <velmioctl/exchange/SecretBox.h>

#include <optional>

namespace velmioctl::exchange {

/// The name of the format, which every export begins with.
constexpr const char* FormatName = "velmio-configuration-export";

/// The version of the format that is written, and the latest one that is read.
constexpr qint64 FormatVersion = 1;

/// What an export tells before its rows.
struct ExportHeader
{
    qint64 schemaVersion = 0;
    /// Nothing when the secrets were left out.
    std::optional<SecretParameters> secrets = {};
};

} // namespace velmioctl::exchange
