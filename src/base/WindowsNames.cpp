#include <base/WindowsNames.h>

#include <QString>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

bool isForbidden(QChar character)
{
    return character.unicode() < 0x20 || QStringView(u"<>:\"/\\|?*").contains(character);
}

// Of a device, with any ending: "nul.txt" is one too.
bool isDevice(QStringView name)
{
    const qsizetype dot = name.indexOf(u'.');
    const QString device = (dot < 0 ? name : name.first(dot)).trimmed().toString().toUpper();
    if (device.size() == 4 && (device.startsWith(u"COM") || device.startsWith(u"LPT")))
        return QStringView(u"0123456789\u00b9\u00b2\u00b3").contains(device.back());
    return device == u"CON" || device == u"PRN" || device == u"AUX" || device == u"NUL" ||
           device == u"CONIN$" || device == u"CONOUT$";
}

} // namespace

// learn.microsoft.com, "Naming Files, Paths, and Namespaces".
QString windowsNameProblem(QStringView name)
{
    const auto* const forbidden = std::find_if(name.begin(), name.end(), isForbidden);
    if (forbidden != name.end()) {
        return forbidden->unicode() < 0x20 ? u"contains a control character"_s
                                           : u"contains the character "_s + *forbidden;
    }
    if (name.endsWith(u'.') || name.endsWith(u' '))
        return name.endsWith(u'.') ? u"ends with a dot"_s : u"ends with a space"_s;
    return isDevice(name) ? u"is that of a device"_s : QString();
}

} // namespace sync::base
