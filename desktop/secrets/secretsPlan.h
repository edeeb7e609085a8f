#pragma once

#include "desktop/secrets/secretsImages.h"

#include <QStringList>

/// What becomes of the items of a document on a device.
struct SecretsPlan {
    QList<SecretSize> sizes;  ///< of the items
    QList<OtpItem> places;    ///< likewise, with their names as they are shown
    QStringList faults;       ///< likewise: what is wrong with the place; empty for nothing
    QList<Verdict> open;      ///< likewise: what keeps the item from being stored; good for nothing
    OtpMap map;
};

[[nodiscard]] SecretsPlan planSecrets(const Device& device, const QList<SecretItem>& items, const QString& folder);

/// A device that no description tells of: the words that an image of it has room for, each by itself.
[[nodiscard]] Device plainDevice(std::uint32_t deviceId);

/// Words as a reader counts them: "176–183".
[[nodiscard]] QString wordRange(std::uint64_t first, std::uint64_t end);

/// A text of a document on one short line. What would act on the window is shown as \xNN.
[[nodiscard]] QString shownLine(const QString& text);

/// What is to be said of the words of an item.
[[nodiscard]] Verdict placeVerdict(const SecretsPlan& plan, qsizetype item);

/// A sentence on all collisions, one on items that the device has no room for, one on items whose files or words can't
/// be used, and one on everything that is missing; empty if there is none. A long list is cut.
[[nodiscard]] QString collisionsTold(const SecretsPlan& plan);
[[nodiscard]] QString misplacedTold(const SecretsPlan& plan);
[[nodiscard]] QString unusableTold(const SecretsPlan& plan);
[[nodiscard]] QString missingTold(const SecretsPlan& plan, const DeviceFuses& fuses);
