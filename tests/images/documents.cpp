#include "tests/images/documents.h"

namespace {

QByteArray field(const char* key, const char* bitOffset, const QByteArray& value, const QByteArray& more = {}) {
    return QByteArray("\"") + key + "\": {\"BitOffset\": \"" + bitOffset +
           "\", \"BitWidth\": \"0x2\", \"BitValue\": \"" + value +
           "\", \"PossibleValues\": {\"0\": \"no\", \"0x1\": \"yes\"}" + more + "}";
}

QByteArray text(const DocumentItem& item) {
    const QByteArray nonce = item.nonce.isEmpty() ? QByteArray() : ", \"Nonce\": \"" + item.nonce + "\"";
    return "{\"Name\": \"" + item.name + "\", \"" + item.pathKey + "\": \"" + item.path + "\", \"Offset\": \"" +
           item.offset + "\"" + item.more + ",\n\"Protection\": {" + field("Lock", "1C", item.lock) + ",\n" +
           field("CID", "10", "0") + ",\n" + field("EncWrap", "0x16", item.encWrap) + ",\n" +
           field("KeySel", "18", "0") + ",\n" + field("KeySize", "1a", item.keySize) + ",\n" +
           field("Algorithm", "13", item.algorithm, nonce) + ",\n" + field("HDPL", "1D", "1") + "}}";
}

}  // namespace

QByteArray document(const std::vector<DocumentItem>& items) {
    QByteArray texts;
    for (const DocumentItem& item : items) {
        texts += (texts.isEmpty() ? "" : ",\n") + text(item);
    }
    return "{\"Title\": \"T\", \"Files\": [" + texts + "]}";
}

QByteArray countingBytes(int first, int count) {
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        bytes.append(static_cast<char>(first + i));
    }
    return bytes;
}

std::string hex(const QByteArray& bytes) {
    return bytes.toHex().toStdString();
}
