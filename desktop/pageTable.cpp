#include "desktop/pageTable.h"

#include "desktop/inspector/InspectPage.h"
#include "desktop/keys/KeysPage.h"
#include "desktop/optionBytes/OptionBytePage.h"
#include "desktop/production/ProductionPage.h"
#include "desktop/run/JobPage.h"
#include "desktop/secrets/SecretsPage.h"
#include "desktop/template/TemplatePage.h"
#include "desktop/tokens/TokensPage.h"

#include <QtGlobal>

#include <algorithm>
#include <array>

namespace desktop {

namespace {

constexpr std::array groups = {"Images",  "Secrets",     "Keys and cards", "Memory and wireless",
                               "Editors", "Look inside", "Production"};

template <class PageType>
Page* make(const PageRow& /*row*/, PageContext& context, QWidget* parent) {
    return new PageType(context, parent);
}

QList<PageRow> jobPages() {
    QList<PageRow> rows;
    for (const jobs::JobRow& job : jobs::jobTable()) {
        if (job.page == nullptr) {
            rows.append({job.id, job.group, job.title, job.summary, job.words, makeJobPage});
        }
    }
    return rows;
}

qsizetype groupOf(const PageRow& row) {
    return std::find_if(groups.begin(), groups.end(),
                        [&row](const char* group) { return qstrcmp(group, row.group) == 0; }) -
           groups.begin();
}

/// Sorts the rows by group and keeps their order within a group.
QList<PageRow> inGroups(QList<PageRow> rows) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](const PageRow& left, const PageRow& right) { return groupOf(left) < groupOf(right); });
    return rows;
}

}  // namespace

const QList<PageRow>& pageTable() {
    static const QList<PageRow> otherPages = {
        {jobs::templatePage, QT_TRANSLATE_NOOP("pageTable", "Secrets"),
         QT_TRANSLATE_NOOP("pageTable", "Provisioning template"),
         QT_TRANSLATE_NOOP("pageTable", "Fills in a template and makes the provisioning file or signed image of it."),
         QT_TRANSLATE_NOOP("pageTable",
                           "-obk --obk OBkey -pb --pb MCUboot bootloader sign image through imgtool make xml "
                           "provisioning file parameter template form"),
         make<TemplatePage>},
        {"keys", QT_TRANSLATE_NOOP("pageTable", "Keys and cards"), QT_TRANSLATE_NOOP("pageTable", "Keys and nonces"),
         QT_TRANSLATE_NOOP("pageTable", "Makes keys, nonces and key pairs, and shows the hash of a public key."),
         QT_TRANSLATE_NOOP("pageTable",
                           "key nonce random aes rsa ecdsa ecc elliptic curve pair hash pem make generate"),
         make<KeysPage>},
        {"tokens", QT_TRANSLATE_NOOP("pageTable", "Keys and cards"), QT_TRANSLATE_NOOP("pageTable", "Keys in tokens"),
         QT_TRANSLATE_NOOP("pageTable",
                           "Lists tokens with their keys and certificates, and signs with a key of a token."),
         QT_TRANSLATE_NOOP("pageTable",
                           "qvora-sign pkcs11 hsm smart card token certificate pin uri sign signature wireless"),
         make<TokensPage>},
        {"option-bytes", QT_TRANSLATE_NOOP("pageTable", "Editors"), QT_TRANSLATE_NOOP("pageTable", "Option bytes"),
         QT_TRANSLATE_NOOP("pageTable", "Edits the option bytes of a device field by field, for an install image."),
         QT_TRANSLATE_NOOP("pageTable", "-ob csv register configuration protection fuse bits"), make<OptionBytePage>},
        {"secrets", QT_TRANSLATE_NOOP("pageTable", "Editors"), QT_TRANSLATE_NOOP("pageTable", "Secrets"),
         QT_TRANSLATE_NOOP(
             "pageTable",
             "Edits a secrets document over the one-time-programmable words of a device, makes and reads images."),
         QT_TRANSLATE_NOOP("pageTable", "otp fuses secrets image json words one-time-programmable"), make<SecretsPage>},
        {jobs::inspectPage, QT_TRANSLATE_NOOP("pageTable", "Look inside"),
         QT_TRANSLATE_NOOP("pageTable", "Inspect a file"),
         QT_TRANSLATE_NOOP("pageTable",
                           "Shows the contents of a file, proves it with its keys and compares two files."),
         QT_TRANSLATE_NOOP(
             "pageTable",
             "qvora-inspect show see holds contains print parse verify prove diff differs compare open view install "
             "provisioning "
             "image areas tag signature digest memory map bytes hex -ptbi --parse-tbi -pxtbi -ppvs-tbi --parse-pvs-tbi "
             "-kdu"),
         make<InspectPage>},
        {"production", QT_TRANSLATE_NOOP("pageTable", "Production"), QT_TRANSLATE_NOOP("pageTable", "Production line"),
         QT_TRANSLATE_NOOP("pageTable",
                           "Shows what a production line has made, and writes a production job from saved jobs."),
         QT_TRANSLATE_NOOP("pageTable",
                           "qvora-produce ledger devices serial station record nonce status report job "
                           "steps table csv line"),
         make<ProductionPage>},
    };
    static const QList<PageRow> rows = inGroups(jobPages() + otherPages);
    return rows;
}

}  // namespace desktop
