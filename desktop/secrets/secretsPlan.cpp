#include "desktop/secrets/secretsPlan.h"

#include "images/imageLayout.h"
#include "jobs/counted.h"

#include <QCoreApplication>

#include <algorithm>

namespace desktop {

namespace {

constexpr qsizetype mostParts = 4;      // parts of a sentence
constexpr qsizetype longestShown = 64;  // characters of a text of the document

QString text(const char* source) {
    return QCoreApplication::translate("SecretsPage", source);
}

QString listed(const QString& sentence, QStringList parts) {
    if (parts.isEmpty()) {
        return {};
    }
    if (parts.size() > mostParts) {
        const qsizetype more = parts.size() - mostParts;
        parts = parts.first(mostParts);
        parts += text("%1 more").arg(more);
    }
    return sentence.arg(parts.join(text(", ")));
}

bool mayBegin(std::uint32_t deviceId, std::uint32_t index) {
    const std::span<const OtpRange> ranges = secretIndexes(deviceId);
    return ranges.empty() || std::any_of(ranges.begin(), ranges.end(), [index](const OtpRange& range) {
               return index >= range.first && index <= range.last;
           });
}

QStringList placeFaults(const devices::Device& device, const QList<devices::OtpItem>& places,
                        const devices::OtpMap& map) {
    QStringList faults;
    faults.resize(places.size());
    for (const devices::OtpCollision& at : map.collisions) {
        const QString sentence =
            at.count == 1 ? text("Collides with “%1” in word %2.") : text("Collides with “%1” in words %2.");
        const QString words = wordRange(at.word, std::uint64_t{at.word} + at.count);
        const std::pair<qsizetype, qsizetype> pairs[] = {{at.first, at.second}, {at.second, at.first}};
        for (const auto& [item, other] : pairs) {
            if (faults.at(item).isEmpty()) {
                faults[item] = sentence.arg(places.at(other).name, words);
            }
        }
    }
    for (const qsizetype item : map.outside) {
        if (faults.at(item).isEmpty()) {
            faults[item] = text("The last word of the device is %1.").arg(device.fuses.wordCount - 1);
        }
    }
    for (qsizetype item = 0; item < places.size(); ++item) {
        if (faults.at(item).isEmpty() && !mayBegin(device.deviceId, places.at(item).first)) {
            faults[item] = text("No item of this device may begin at word %1.").arg(places.at(item).first);
        }
    }
    return faults;
}

}  // namespace

SecretsPlan planSecrets(const devices::Device& device, const QList<SecretItem>& items, const QString& folder) {
    SecretsPlan plan;
    for (const SecretItem& item : items) {
        plan.sizes += secretSize(item, folder);
        plan.open += openVerdict(item, plan.sizes.constLast());
    }
    plan.places = otpItems(device.fuses, items, plan.sizes);
    for (devices::OtpItem& place : plan.places) {
        place.name = shownLine(place.name);
    }
    plan.map = devices::mapOtp(device.fuses, plan.places);
    plan.faults = placeFaults(device, plan.places, plan.map);
    return plan;
}

devices::Device plainDevice(std::uint32_t deviceId) {
    devices::Device device;
    device.deviceId = deviceId;
    device.fuses.wordCount = highestOtpWord(deviceId) + 1;
    for (const OtpRange& range : secretIndexes(deviceId)) {
        for (std::uint32_t index = range.first; index <= range.last; ++index) {
            device.fuses.words += {text("Word %1").arg(index), index, 1, 0, true, {}};
        }
    }
    return device;
}

QString shownLine(const QString& text) {
    QString shown;
    for (const QChar character : text.left(longestShown)) {
        const bool acts = character.category() == QChar::Other_Control || character.category() == QChar::Other_Format ||
                          character.category() == QChar::Separator_Line ||
                          character.category() == QChar::Separator_Paragraph;
        shown += acts ? QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0')) : QString(character);
    }
    return text.size() > longestShown ? shown + u'…' : shown;
}

QString wordRange(std::uint64_t first, std::uint64_t end) {
    return end <= first + 1 ? QString::number(first) : QStringLiteral("%1–%2").arg(first).arg(end - 1);
}

jobs::Verdict placeVerdict(const SecretsPlan& plan, qsizetype item) {
    if (!plan.faults.at(item).isEmpty()) {
        return {jobs::Verdict::Kind::fault, plan.faults.at(item)};
    }
    const devices::OtpItem& place = plan.places.at(item);
    const QString words =
        place.count == 0 ? text("Fills no word") : text("Fills %1").arg(wordRange(place.first, place.end()));
    if (plan.map.undescribed.contains(item)) {
        return {jobs::Verdict::Kind::missing, text("%1, partly not described.").arg(words)};
    }
    const devices::OtpNeighbours nearest = devices::otpNeighbours(plan.places, item);
    return {jobs::Verdict::Kind::good,
            nearest.after < 0
                ? text("%1.").arg(words)
                : text("%1. The next item begins at %2.").arg(words).arg(plan.places.at(nearest.after).first)};
}

QString collisionsText(const SecretsPlan& plan) {
    QStringList parts;
    for (const devices::OtpCollision& at : plan.map.collisions) {
        parts += text("“%1” and “%2” in %3")
                     .arg(plan.places.at(at.first).name, plan.places.at(at.second).name,
                          wordRange(at.word, std::uint64_t{at.word} + at.count));
    }
    return listed(text("Collision: %1."), parts);
}

QString misplacedText(const SecretsPlan& plan) {
    QList<bool> collides(plan.places.size());
    for (const devices::OtpCollision& at : plan.map.collisions) {
        collides[at.first] = collides[at.second] = true;
    }
    QStringList parts;
    for (qsizetype item = 0; item < plan.places.size(); ++item) {
        if (!plan.faults.at(item).isEmpty() && !collides.at(item)) {
            const devices::OtpItem& place = plan.places.at(item);
            parts += text("“%1” (%2)").arg(place.name, wordRange(place.first, place.end()));
        }
    }
    return listed(text("No place on this device: %1."), parts);
}

QString unusableText(const SecretsPlan& plan) {
    QStringList parts;
    for (qsizetype item = 0; item < plan.places.size(); ++item) {
        if (plan.open.at(item).kind == jobs::Verdict::Kind::fault) {
            parts += text("“%1”: %2").arg(plan.places.at(item).name, plan.open.at(item).text);
        }
    }
    return parts.size() < 2 ? parts.value(0)
                            : parts.constFirst() + u' ' +
                                  jobs::counted(parts.size() - 1, text("1 more item has a fault."),
                                                text("%1 more items have a fault."));
}

QString missingText(const SecretsPlan& plan, const devices::DeviceFuses& fuses) {
    QStringList parts;
    for (const qsizetype fuse : plan.map.missing) {
        const devices::FuseWords& words = fuses.words.at(fuse);
        parts += text("%1 (%2)").arg(words.name, wordRange(words.index, words.end()));
    }
    for (qsizetype i = 0; i < plan.places.size(); ++i) {
        if (plan.open.at(i).kind == jobs::Verdict::Kind::missing) {
            const bool isData = plan.sizes.at(i).data.kind == jobs::Verdict::Kind::missing;
            parts += (isData ? text("data of “%1”") : text("nonce of “%1”")).arg(plan.places.at(i).name);
        }
    }
    return listed(text("Missing: %1."), parts);
}

}  // namespace desktop
