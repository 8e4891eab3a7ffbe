#include "Settings.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// What the environment can have, and a profile. The password stands in neither option: it is no option.
const QStringList& environmentOptions()
{
    static const QStringList names = {u"host"_s, u"port"_s, u"user"_s, u"ca"_s, u"fingerprint"_s};
    return names;
}

const QStringList& flagOptions()
{
    static const QStringList names = {u"trust-on-first-use"_s, u"insecure"_s, u"system"_s};
    return names;
}

const QStringList& profileOptions()
{
    static const QStringList names =
        environmentOptions() + flagOptions() + QStringList {u"password-file"_s, u"timeout"_s};
    return names;
}

} // namespace

Settings::Settings(const QCommandLineParser& parser)
    : parser(parser)
{
    for (const QString& name : environmentOptions()) {
        const QString value = qEnvironmentVariable(("ORVANE_"_L1 + name.toUpper()).toLatin1().constData());
        if (!value.isEmpty())
            environment.insert(name, value);
    }
    if (parser.isSet(u"profile"_s))
        readProfile(parser.value(u"profile"_s));
}

QString Settings::profilesFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/orvane-client/profiles.ini"_L1;
}

QStringList Settings::profiles()
{
    return QSettings(profilesFile(), QSettings::IniFormat).childGroups();
}

void Settings::readProfile(const QString& name)
{
    const QString file = profilesFile();
    if (!QFileInfo(file).isReadable()) {
        problem = u"there is no profile \"%1\": cannot read \"%2\""_s.arg(name, file);
        return;
    }
    QSettings profiles(file, QSettings::IniFormat);
    if (profiles.status() != QSettings::NoError || !profiles.childGroups().contains(name)) {
        problem = u"\"%1\" has no profile \"%2\", but: %3"_s.arg(file, name, profiles.childGroups().join(", "_L1));
        return;
    }
    profiles.beginGroup(name);
    for (const QString& key : profiles.childKeys()) {
        if (!profileOptions().contains(key))
            problem = u"the profile \"%1\" in \"%2\" has an unknown key \"%3\"; there are: %4"_s.arg(
                name, file, key, profileOptions().join(", "_L1));
        const QString value = profiles.value(key).toStringList().join(u','); // a comma begins no list here
        const bool isFlag = flagOptions().contains(key);
        if (isFlag && value != "true"_L1 && value != "false"_L1)
            problem = u"the profile \"%1\" in \"%2\" has \"%3\" as \"%4\": it takes true or false"_s.arg(
                name, file, key, value);
        if (!isFlag || value == "true"_L1)
            profile.insert(key, value);
    }
}

bool Settings::isFromProfile(const QString& name) const
{
    return !parser.isSet(name) && !environment.contains(name) && profile.contains(name);
}

bool Settings::isOnCommandLine(const QString& name) const
{
    return parser.isSet(name);
}

QString Settings::valueOf(const QString& name) const
{
    if (parser.isSet(name))
        return parser.value(name);
    return environment.value(name, profile.value(name, parser.value(name)));
}

QStringList Settings::firstOf(const QStringList& names) const
{
    QStringList given;
    const auto collect = [&](auto isGiven) {
        std::copy_if(names.begin(), names.end(), std::back_inserter(given), isGiven);
        return !given.isEmpty();
    };
    static_cast<void>(collect([this](const QString& name) { return parser.isSet(name); })
        || collect([this](const QString& name) { return environment.contains(name); })
        || collect([this](const QString& name) { return profile.contains(name); }));
    return given;
}

} // namespace OrvaneClient
