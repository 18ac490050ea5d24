#pragma once

#include <QString>

#include <string>
#include <vector>

namespace velmioctl {

class Command;

/// What is wrong with a command line, for the person who typed it. Nothing that may be a secret is
/// repeated.
///
/// `given` are the program and the commands that were named, `unknown` the words that nothing
/// takes, and `parsed` is the parser's own message.
QString usageMessage(
    const std::vector<const Command*>& given, const std::vector<std::string>& unknown,
    const std::string& parsed);

/// The one of the words that was likely meant; empty when none is near.
QString nearest(const QString& word, const QStringList& words);

} // namespace velmioctl
