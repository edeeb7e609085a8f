#include "desktop/page/Settings.h"

#include <QDir>

namespace desktop {

namespace {

QString folderKey(jobs::PathRole role) {
    switch (role) {
        case jobs::PathRole::firmware:
            return QStringLiteral("folders/firmware");
        case jobs::PathRole::output:
            return QStringLiteral("folders/output");
        case jobs::PathRole::document:
            return QStringLiteral("folders/document");
        case jobs::PathRole::key:
            break;
    }
    return {};
}

}  // namespace

Settings::Settings(const QString& path)
    : store_(path.isEmpty() ? QSettings().fileName() : path,
             path.isEmpty() ? QSettings::NativeFormat : QSettings::IniFormat) {
}

ThemeScheme Settings::scheme() const {
    const QString name = store_.value(QStringLiteral("scheme")).toString();
    return name == QLatin1String("dark")    ? ThemeScheme::dark
           : name == QLatin1String("light") ? ThemeScheme::light
                                            : ThemeScheme::system;
}

void Settings::setScheme(ThemeScheme scheme) {
    store_.setValue(QStringLiteral("scheme"), scheme == ThemeScheme::dark    ? QStringLiteral("dark")
                                              : scheme == ThemeScheme::light ? QStringLiteral("light")
                                                                             : QStringLiteral("system"));
}

QString Settings::deviceFolder() const {
    return store_.value(QStringLiteral("devices")).toString();
}

void Settings::setDeviceFolder(const QString& folder) {
    store_.setValue(QStringLiteral("devices"), folder);
}

QString Settings::lastFolder(jobs::PathRole role) const {
    const QString folder = role == jobs::PathRole::key ? keyFolder_ : store_.value(folderKey(role)).toString();
    return QDir(folder).exists() && !folder.isEmpty() ? folder : QDir::homePath();
}

void Settings::setLastFolder(jobs::PathRole role, const QString& folder) {
    if (role == jobs::PathRole::key) {
        keyFolder_ = folder;
    } else {
        store_.setValue(folderKey(role), folder);
    }
}

QByteArray Settings::state(const QString& name) const {
    return store_.value(QStringLiteral("state/") + name).toByteArray();
}

void Settings::setState(const QString& name, const QByteArray& state) {
    store_.setValue(QStringLiteral("state/") + name, state);
}

QString Settings::lastPage() const {
    return store_.value(QStringLiteral("page")).toString();
}

void Settings::setLastPage(const QString& id) {
    store_.setValue(QStringLiteral("page"), id);
}

}  // namespace desktop
