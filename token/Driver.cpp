#include "token/Driver.h"

#include "display/Display.h"
#include "token/driverUse.h"

#include <QFile>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>

namespace token {

namespace {

// The proxy forwards calls to every driver in the system's p11-kit configuration.
constexpr std::array<const char*, 2> proxyNames{"p11-kit-proxy.so", "libp11-kit.so.0"};

// A limit on the count that a driver returns. No machine has so many cards.
constexpr CK_ULONG maxSlots = 1024;

struct ReturnValueName {
    CK_RV value;
    const char* name;
};

#define RETURN_VALUE(name) \
    ReturnValueName {      \
        name, #name        \
    }
constexpr std::array returnValueNames{
    RETURN_VALUE(CKR_CANCEL),
    RETURN_VALUE(CKR_HOST_MEMORY),
    RETURN_VALUE(CKR_SLOT_ID_INVALID),
    RETURN_VALUE(CKR_GENERAL_ERROR),
    RETURN_VALUE(CKR_FUNCTION_FAILED),
    RETURN_VALUE(CKR_ARGUMENTS_BAD),
    RETURN_VALUE(CKR_NO_EVENT),
    RETURN_VALUE(CKR_NEED_TO_CREATE_THREADS),
    RETURN_VALUE(CKR_CANT_LOCK),
    RETURN_VALUE(CKR_ATTRIBUTE_READ_ONLY),
    RETURN_VALUE(CKR_ATTRIBUTE_SENSITIVE),
    RETURN_VALUE(CKR_ATTRIBUTE_TYPE_INVALID),
    RETURN_VALUE(CKR_ATTRIBUTE_VALUE_INVALID),
    RETURN_VALUE(CKR_ACTION_PROHIBITED),
    RETURN_VALUE(CKR_DATA_INVALID),
    RETURN_VALUE(CKR_DATA_LEN_RANGE),
    RETURN_VALUE(CKR_DEVICE_ERROR),
    RETURN_VALUE(CKR_DEVICE_MEMORY),
    RETURN_VALUE(CKR_DEVICE_REMOVED),
    RETURN_VALUE(CKR_ENCRYPTED_DATA_INVALID),
    RETURN_VALUE(CKR_ENCRYPTED_DATA_LEN_RANGE),
    RETURN_VALUE(CKR_FUNCTION_CANCELED),
    RETURN_VALUE(CKR_FUNCTION_NOT_PARALLEL),
    RETURN_VALUE(CKR_FUNCTION_NOT_SUPPORTED),
    RETURN_VALUE(CKR_KEY_HANDLE_INVALID),
    RETURN_VALUE(CKR_KEY_SIZE_RANGE),
    RETURN_VALUE(CKR_KEY_TYPE_INCONSISTENT),
    RETURN_VALUE(CKR_KEY_NOT_NEEDED),
    RETURN_VALUE(CKR_KEY_CHANGED),
    RETURN_VALUE(CKR_KEY_NEEDED),
    RETURN_VALUE(CKR_KEY_INDIGESTIBLE),
    RETURN_VALUE(CKR_KEY_FUNCTION_NOT_PERMITTED),
    RETURN_VALUE(CKR_KEY_NOT_WRAPPABLE),
    RETURN_VALUE(CKR_KEY_UNEXTRACTABLE),
    RETURN_VALUE(CKR_MECHANISM_INVALID),
    RETURN_VALUE(CKR_MECHANISM_PARAM_INVALID),
    RETURN_VALUE(CKR_OBJECT_HANDLE_INVALID),
    RETURN_VALUE(CKR_OPERATION_ACTIVE),
    RETURN_VALUE(CKR_OPERATION_NOT_INITIALIZED),
    RETURN_VALUE(CKR_PIN_INCORRECT),
    RETURN_VALUE(CKR_PIN_INVALID),
    RETURN_VALUE(CKR_PIN_LEN_RANGE),
    RETURN_VALUE(CKR_PIN_EXPIRED),
    RETURN_VALUE(CKR_PIN_LOCKED),
    RETURN_VALUE(CKR_SESSION_CLOSED),
    RETURN_VALUE(CKR_SESSION_COUNT),
    RETURN_VALUE(CKR_SESSION_HANDLE_INVALID),
    RETURN_VALUE(CKR_SESSION_PARALLEL_NOT_SUPPORTED),
    RETURN_VALUE(CKR_SESSION_READ_ONLY),
    RETURN_VALUE(CKR_SESSION_EXISTS),
    RETURN_VALUE(CKR_SESSION_READ_ONLY_EXISTS),
    RETURN_VALUE(CKR_SESSION_READ_WRITE_SO_EXISTS),
    RETURN_VALUE(CKR_SIGNATURE_INVALID),
    RETURN_VALUE(CKR_SIGNATURE_LEN_RANGE),
    RETURN_VALUE(CKR_TEMPLATE_INCOMPLETE),
    RETURN_VALUE(CKR_TEMPLATE_INCONSISTENT),
    RETURN_VALUE(CKR_TOKEN_NOT_PRESENT),
    RETURN_VALUE(CKR_TOKEN_NOT_RECOGNIZED),
    RETURN_VALUE(CKR_TOKEN_WRITE_PROTECTED),
    RETURN_VALUE(CKR_UNWRAPPING_KEY_HANDLE_INVALID),
    RETURN_VALUE(CKR_UNWRAPPING_KEY_SIZE_RANGE),
    RETURN_VALUE(CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT),
    RETURN_VALUE(CKR_USER_ALREADY_LOGGED_IN),
    RETURN_VALUE(CKR_USER_NOT_LOGGED_IN),
    RETURN_VALUE(CKR_USER_PIN_NOT_INITIALIZED),
    RETURN_VALUE(CKR_USER_TYPE_INVALID),
    RETURN_VALUE(CKR_USER_ANOTHER_ALREADY_LOGGED_IN),
    RETURN_VALUE(CKR_USER_TOO_MANY_TYPES),
    RETURN_VALUE(CKR_WRAPPED_KEY_INVALID),
    RETURN_VALUE(CKR_WRAPPED_KEY_LEN_RANGE),
    RETURN_VALUE(CKR_WRAPPING_KEY_HANDLE_INVALID),
    RETURN_VALUE(CKR_WRAPPING_KEY_SIZE_RANGE),
    RETURN_VALUE(CKR_WRAPPING_KEY_TYPE_INCONSISTENT),
    RETURN_VALUE(CKR_RANDOM_SEED_NOT_SUPPORTED),
    RETURN_VALUE(CKR_RANDOM_NO_RNG),
    RETURN_VALUE(CKR_DOMAIN_PARAMS_INVALID),
    RETURN_VALUE(CKR_CURVE_NOT_SUPPORTED),
    RETURN_VALUE(CKR_BUFFER_TOO_SMALL),
    RETURN_VALUE(CKR_SAVED_STATE_INVALID),
    RETURN_VALUE(CKR_INFORMATION_SENSITIVE),
    RETURN_VALUE(CKR_STATE_UNSAVEABLE),
    RETURN_VALUE(CKR_CRYPTOKI_NOT_INITIALIZED),
    RETURN_VALUE(CKR_CRYPTOKI_ALREADY_INITIALIZED),
    RETURN_VALUE(CKR_MUTEX_BAD),
    RETURN_VALUE(CKR_MUTEX_NOT_LOCKED),
    RETURN_VALUE(CKR_NEW_PIN_MODE),
    RETURN_VALUE(CKR_NEXT_OTP),
    RETURN_VALUE(CKR_EXCEEDED_MAX_ITERATIONS),
    RETURN_VALUE(CKR_FIPS_SELF_TEST_FAILED),
    RETURN_VALUE(CKR_LIBRARY_LOAD_FAILED),
    RETURN_VALUE(CKR_PIN_TOO_WEAK),
    RETURN_VALUE(CKR_PUBLIC_KEY_INVALID),
    RETURN_VALUE(CKR_FUNCTION_REJECTED),
};
#undef RETURN_VALUE

// Returns the library's function list. If there is none, returns null and sets `reason`.
CK_FUNCTION_LIST* openDriver(const char* name, std::string& reason) {
    void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    const auto getFunctionList =
        library == nullptr ? nullptr : reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        const char* error = dlerror();
        reason = error == nullptr ? "no C_GetFunctionList" : error;
        return nullptr;
    }
    CK_FUNCTION_LIST* functions = nullptr;
    if (getFunctionList(&functions) != CKR_OK || functions == nullptr) {
        reason = "C_GetFunctionList failed";
        return nullptr;
    }
    return functions;
}

}  // namespace

Driver::~Driver() {
    if (isOfThisProcess()) {
        endUse(functions_);
    }
}

bool Driver::loadConfigured() {
    const QByteArray named = qgetenv("QVORA_HSM_MODULE");
    std::vector<const char*> names(proxyNames.begin(), proxyNames.end());
    if (!named.isEmpty()) {
        names = {named.constData()};
    }
    std::vector<std::string> reasons;
    for (const char* name : names) {
        functions_ = functions_ == nullptr ? openDriver(name, reasons.emplace_back()) : functions_;
    }
    if (functions_ == nullptr) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            reportError("The %s driver %s can't be loaded (QVORA_HSM_MODULE names another one) : %s", device_, names[i],
                        reasons[i].c_str());
        }
        return false;
    }
    return start();
}

bool Driver::load(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    std::string reason;
    functions_ = openDriver(name.constData(), reason);
    return functions_ != nullptr
               ? start()
               : reportError("The %s driver %s can't be loaded : %s", device_, name.constData(), reason.c_str());
}

bool Driver::start() {
    if (!succeeded(beginUse(functions_), "C_Initialize", "the driver")) {
        return false;
    }
    process_ = getpid();
    return true;
}

bool Driver::isOfThisProcess() const {
    return process_ != 0 && process_ == getpid();
}

bool Driver::succeeded(CK_RV answer, const char* function, const char* label) const {
    if (answer == CKR_OK) {
        return true;
    }
    const ReturnValueName* entry = std::find_if(returnValueNames.begin(), returnValueNames.end(),
                                                [answer](const ReturnValueName& row) { return row.value == answer; });
    return reportError("The %s answered %s for %s with %s (0x%08lX)", device_, function, label,
                       entry == returnValueNames.end() ? "an unknown code" : entry->name, answer);
}

void Driver::lock() {
    // PKCS #11 has no lock, so the driver's file is locked. Every user of the driver can open this file, and a crash
    // releases the lock. If the file can't be locked, the driver is used without a lock.
    Dl_info driver{};
    if (dladdr(reinterpret_cast<const void*>(functions_->C_Initialize), &driver) == 0) {
        return;
    }
    lock_ = FileHandle(open(driver.dli_fname, O_RDONLY | O_CLOEXEC));
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
        return;
    }
    displayMessage(MessageKind::warning, "Another run programs a card, waiting for its end");
    while (flock(lock_.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

bool Driver::listSlots(std::vector<CK_SLOT_ID>& found) const {
    CK_ULONG count = 0;
    // Drivers update their list only when a caller requests its length.
    if (!succeeded(functions_->C_GetSlotList(CK_TRUE, nullptr, &count), "C_GetSlotList", "the driver")) {
        return false;
    }
    count = std::min(count, maxSlots);
    std::vector<CK_SLOT_ID> slotIds(std::max<CK_ULONG>(count, 1));
    if (count != 0 &&
        !succeeded(functions_->C_GetSlotList(CK_TRUE, slotIds.data(), &count), "C_GetSlotList", "the driver")) {
        return false;
    }
    slotIds.resize(std::min<CK_ULONG>(count, slotIds.size()));
    found = std::move(slotIds);
    return true;
}

bool Driver::findSlot(std::int32_t position, CK_SLOT_ID& slot) const {
    std::vector<CK_SLOT_ID> found;
    if (!listSlots(found)) {
        return false;
    }
    if (position < 0 || static_cast<std::size_t>(position) >= found.size()) {
        return reportError("There is no card in slot %d : %lu slots have a card, counted from 0", position,
                           static_cast<CK_ULONG>(found.size()));
    }
    slot = found[static_cast<std::size_t>(position)];
    return true;
}

}  // namespace token
