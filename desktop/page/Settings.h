#pragma once

#include "desktop/look/theme.h"
#include "jobs/PathRole.h"

#include <QByteArray>
#include <QSettings>

/// What the program remembers: the look, the window, the last folders. Never the path of a key.
class Settings {
  public:
    /// Kept in the file at `path`; an empty one is the user's own place for settings.
    explicit Settings(const QString& path = QString());

    [[nodiscard]] ThemeScheme scheme() const;
    void setScheme(ThemeScheme scheme);

    /// The user's own folder of device descriptions; may be empty.
    [[nodiscard]] QString deviceFolder() const;
    void setDeviceFolder(const QString& folder);

    [[nodiscard]] QString lastFolder(PathRole role) const;
    void setLastFolder(PathRole role, const QString& folder);

    /// State of a window or splitter under a name.
    [[nodiscard]] QByteArray state(const QString& name) const;
    void setState(const QString& name, const QByteArray& state);

    [[nodiscard]] QString lastPage() const;
    void setLastPage(const QString& id);

  private:
    QSettings store_;
    QString keyFolder_;  ///< of this run alone
};
