#pragma once

#include <QString>

#include <string>
#include <vector>

namespace velmioctl {

class Command;

/// Says what is wrong with a command line. Never repeats what may be a secret.
///
/// `given` are the program and the commands that were named, `unknown` the words that none of them
/// accepts, and `fault` says what else is wrong.
QString usageMessage(
    const std::vector<const Command*>& given, const std::vector<std::string>& unknown,
    const QString& fault);

/// The most similar of the words; empty when none is similar.
QString nearest(const QString& word, const QStringList& words);

} // namespace velmioctl
