#pragma once

#include "desktop/look/theme.h"
#include "jobs/PathRole.h"

#include <QByteArray>
#include <QSettings>

namespace desktop {

/// The program's settings: the look, the window, the last folders. They never contain the path of a key.
class Settings {
  public:
    /// The settings are in the file at `path`; with an empty path they are in the user's usual place for settings.
    explicit Settings(const QString& path = QString());

    [[nodiscard]] ThemeScheme scheme() const;
    void setScheme(ThemeScheme scheme);

    /// The user's own folder of device descriptions; may be empty.
    [[nodiscard]] QString deviceFolder() const;
    void setDeviceFolder(const QString& folder);

    [[nodiscard]] QString lastFolder(jobs::PathRole role) const;
    void setLastFolder(jobs::PathRole role, const QString& folder);

    /// The state of a window or splitter, stored under a name.
    [[nodiscard]] QByteArray state(const QString& name) const;
    void setState(const QString& name, const QByteArray& state);

    [[nodiscard]] QString lastPage() const;
    void setLastPage(const QString& id);

  private:
    QSettings store_;
    QString keyFolder_;  ///< kept for this run only
};

}  // namespace desktop
