#include "token/tokens.h"

#include "display/Display.h"

#include <QFile>

#include <p11-kit/p11-kit.h>

#include <cstdlib>
#include <utility>

namespace token {

namespace {

/// The path of a driver in p11-kit's configuration; empty if there is none of this name.
QString configuredPath(const QByteArray& name) {
    CK_FUNCTION_LIST** const modules = p11_kit_modules_load(nullptr, 0);
    if (modules == nullptr) {
        return {};
    }
    CK_FUNCTION_LIST* const module = p11_kit_module_for_name(modules, name.constData());
    char* const file = module == nullptr ? nullptr : p11_kit_module_get_filename(module);
    const QString path = file == nullptr ? QString() : QFile::decodeName(file);
    std::free(file);
    p11_kit_modules_release(modules);
    return path;
}

bool findDriver(const QString& name, QString& path) {
    path = name.contains(u'/') ? QString() : configuredPath(name.toUtf8());
    for (const char* const form : {"%1/%2.so", "%1/lib%2.so"}) {
        const QString candidate = QString::fromLatin1(form).arg(QLatin1String(QVORA_DRIVER_FOLDER), name);
        if (path.isEmpty() && !name.contains(u'/') && QFile::exists(candidate)) {
            path = candidate;
        }
    }
    return !path.isEmpty() || reportError("There is no driver named %s in p11-kit's configuration or in %s",
                                          qUtf8Printable(name), QVORA_DRIVER_FOLDER);
}

/// Whether a slot without a usable token gave this answer. Another slot may have the token that is needed.
bool isEmptySlot(CK_RV answer) {
    return answer == CKR_TOKEN_NOT_PRESENT || answer == CKR_TOKEN_NOT_RECOGNIZED;
}

}  // namespace

bool loadDriverOf(const KeyUri& uri, Driver& driver) {
    QString path = uri.modulePath();
    if (path.isEmpty() && uri.moduleName().isEmpty()) {
        return driver.loadConfigured();
    }
    if (!path.isEmpty() && !path.startsWith(u'/')) {
        return reportError("module-path must be absolute, and %s isn't", qUtf8Printable(path));
    }
    return (!path.isEmpty() || findDriver(uri.moduleName(), path)) && driver.load(path);
}

bool listTokens(const Driver& driver, std::vector<TokenRecord>& found) {
    const CK_FUNCTION_LIST& functions = driver.functions();
    CK_INFO info{};
    std::vector<CK_SLOT_ID> filled;
    if (!driver.succeeded(functions.C_GetInfo(&info), "C_GetInfo", "the driver") || !driver.listSlots(filled)) {
        return false;
    }
    std::vector<TokenRecord> records;
    for (const CK_SLOT_ID slot : filled) {
        TokenRecord record;
        record.slot = slot;
        record.driver = info;
        const CK_RV answer = functions.C_GetTokenInfo(slot, &record.token);
        if (isEmptySlot(answer)) {
            continue;
        }
        if (!driver.succeeded(answer, "C_GetTokenInfo", "the token") ||
            !driver.succeeded(functions.C_GetSlotInfo(slot, &record.slotInfo), "C_GetSlotInfo", "the slot")) {
            return false;
        }
        if ((record.token.flags & CKF_TOKEN_INITIALIZED) != 0) {
            records.push_back(record);
        }
    }
    found = std::move(records);
    return true;
}

QString labelOf(const TokenRecord& record) {
    return QString::fromUtf8(reinterpret_cast<const char*>(record.token.label), sizeof record.token.label).trimmed();
}

}  // namespace token
