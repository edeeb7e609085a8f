#pragma once

#include <QByteArray>

#include <string>
#include <vector>

/// The parts of an item that the rules look at, as they stand in a document.
struct DocumentItem {
    QByteArray name = "A";
    QByteArray path = "./a.bin";
    QByteArray offset = "0x10";
    QByteArray encWrap = "0";
    QByteArray keySize = "0";
    QByteArray algorithm = "0";
    QByteArray nonce = "";  ///< no `Nonce` key if empty
    QByteArray lock = "1";  ///< at bit 28
    QByteArray more = "";   ///< further keys with values, each behind a comma
    QByteArray pathKey = "Path";
};

/// A whole document. `Algorithm` stands at bit 19, `EncWrap` at 22, `KeySize` at 26, `HDPL` with value 1 at 29.
QByteArray document(const std::vector<DocumentItem>& items);

/// `count` bytes that count up from `first`.
QByteArray countingBytes(int first, int count);

std::string hex(const QByteArray& bytes);
