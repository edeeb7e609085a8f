#pragma once

#include "desktop/secrets/secretsImages.h"

#include <QStringList>

namespace desktop {

/// The analysis of a document's items for a device. Each list has one entry for each item.
struct SecretsPlan {
    QList<SecretSize> sizes;
    QList<devices::OtpItem> places;  ///< with the names as shown
    QStringList faults;              ///< the fault of the item's place; empty if there is none
    QList<jobs::Verdict> open;       ///< whether the item can be stored, with the reason if not
    devices::OtpMap map;
};

[[nodiscard]] SecretsPlan planSecrets(const devices::Device& device, const QList<SecretItem>& items,
                                      const QString& folder);

/// The words of a device without a description. Each word that its images can contain is a purpose of its own.
[[nodiscard]] devices::Device plainDevice(std::uint32_t deviceId);

/// A range of words with both ends included: "176–183".
[[nodiscard]] QString wordRange(std::uint64_t first, std::uint64_t end);

/// A text of a document on one short line. Control and format characters are shown as \xNN.
[[nodiscard]] QString shownLine(const QString& text);

/// The verdict on the place of an item.
[[nodiscard]] jobs::Verdict placeVerdict(const SecretsPlan& plan, qsizetype item);

/// One sentence for each kind of remark: collisions, items outside the device's words, items with unusable files or
/// words, and everything that is missing. Empty if there is none. Long lists are cut.
[[nodiscard]] QString collisionsText(const SecretsPlan& plan);
[[nodiscard]] QString misplacedText(const SecretsPlan& plan);
[[nodiscard]] QString unusableText(const SecretsPlan& plan);
[[nodiscard]] QString missingText(const SecretsPlan& plan, const devices::DeviceFuses& fuses);

}  // namespace desktop
