#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// A production job with two steps. The tests change parts of its text.
inline QByteArray jobText() {
    return R"({
  "version": 1,
  "product": "meter-a",
  "keys": { "image": { "file": "keys/image.bin" } },
  "allowDevelopmentKeys": false,
  "steps": [
    { "job": "install-image",
      "values": { "device": "0x455", "firmware": [ { "path": "blink.elf" } ], "key": "{key:image}", "nonce": "{nonce}",
                  "version": "1", "option-bytes": "option-bytes.csv", "out": "{out}/blink.tbi" } },
    { "name": "secrets", "job": "provisioning-image", "timeout": 5,
      "values": { "secrets": "{column:secrets}", "key": "{key:image}", "nonce": "{nonce}", "out": "{out}/secrets.pvs" } }
  ]
}
)";
}

/// The job with some texts replaced. `fromTo` has each old text, which must be in the job, and the new text after it.
inline QByteArray changedJob(const QByteArrayList& fromTo) {
    QByteArray text = jobText();
    for (qsizetype i = 0; i + 1 < fromTo.size(); i += 2) {
        const qsizetype at = text.indexOf(fromTo.at(i));
        text = at < 0 ? QByteArray() : text.replace(at, fromTo.at(i).size(), fromTo.at(i + 1));
    }
    return text;
}
