#include "desktop/pageTable.h"

#include "desktop/KeysPage.h"
#include "desktop/OptionBytePage.h"

#include <QtGlobal>

namespace {

template <class PageType>
Page* make(const PageRow& /*row*/, PageContext& context, QWidget* parent) {
    return new PageType(context, parent);
}

}  // namespace

const QList<PageRow>& pageTable() {
    static const QList<PageRow> rows = {
        {"keys", QT_TRANSLATE_NOOP("pageTable", "Keys and cards"), QT_TRANSLATE_NOOP("pageTable", "Keys"),
         QT_TRANSLATE_NOOP("pageTable", "Makes keys, nonces and key pairs, and tells the hash of a public key."),
         QT_TRANSLATE_NOOP("pageTable", "key nonce random rsa ecdsa elliptic curve pair hash pem generate"),
         make<KeysPage>},
        {"option-bytes", QT_TRANSLATE_NOOP("pageTable", "Editors"), QT_TRANSLATE_NOOP("pageTable", "Option Bytes"),
         QT_TRANSLATE_NOOP("pageTable", "Edits the option bytes of a device field by field, for an install image."),
         QT_TRANSLATE_NOOP("pageTable", "-ob csv register configuration protection fuse bits"), make<OptionBytePage>},
    };
    return rows;
}
