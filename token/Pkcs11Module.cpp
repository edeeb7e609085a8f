#include "token/Pkcs11Module.h"

#include "display/Display.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace token {

namespace {

// The proxy forwards calls to every driver in the system's p11-kit configuration.
constexpr std::array<const char*, 2> proxyNames{"p11-kit-proxy.so", "libp11-kit.so.0"};

// Limits on the counts that a driver returns. No machine has so many cards, and no card has so many objects with one
// label.
constexpr CK_ULONG maxSlots = 1024;
constexpr std::size_t maxObjects = 256;

struct ReturnValueName {
    CK_RV value;
    const char* name;
};

#define RETURN_VALUE(name) \
    ReturnValueName {      \
        name, #name        \
    }
constexpr std::array returnValueNames{
    RETURN_VALUE(CKR_HOST_MEMORY),
    RETURN_VALUE(CKR_SLOT_ID_INVALID),
    RETURN_VALUE(CKR_GENERAL_ERROR),
    RETURN_VALUE(CKR_FUNCTION_FAILED),
    RETURN_VALUE(CKR_ARGUMENTS_BAD),
    RETURN_VALUE(CKR_ATTRIBUTE_READ_ONLY),
    RETURN_VALUE(CKR_ATTRIBUTE_SENSITIVE),
    RETURN_VALUE(CKR_ATTRIBUTE_TYPE_INVALID),
    RETURN_VALUE(CKR_ATTRIBUTE_VALUE_INVALID),
    RETURN_VALUE(CKR_DEVICE_ERROR),
    RETURN_VALUE(CKR_DEVICE_MEMORY),
    RETURN_VALUE(CKR_DEVICE_REMOVED),
    RETURN_VALUE(CKR_FUNCTION_NOT_SUPPORTED),
    RETURN_VALUE(CKR_OBJECT_HANDLE_INVALID),
    RETURN_VALUE(CKR_PIN_INCORRECT),
    RETURN_VALUE(CKR_PIN_LEN_RANGE),
    RETURN_VALUE(CKR_PIN_EXPIRED),
    RETURN_VALUE(CKR_PIN_LOCKED),
    RETURN_VALUE(CKR_SESSION_CLOSED),
    RETURN_VALUE(CKR_SESSION_COUNT),
    RETURN_VALUE(CKR_SESSION_HANDLE_INVALID),
    RETURN_VALUE(CKR_SESSION_READ_ONLY),
    RETURN_VALUE(CKR_TEMPLATE_INCOMPLETE),
    RETURN_VALUE(CKR_TEMPLATE_INCONSISTENT),
    RETURN_VALUE(CKR_TOKEN_NOT_PRESENT),
    RETURN_VALUE(CKR_TOKEN_NOT_RECOGNIZED),
    RETURN_VALUE(CKR_TOKEN_WRITE_PROTECTED),
    RETURN_VALUE(CKR_USER_NOT_LOGGED_IN),
    RETURN_VALUE(CKR_USER_PIN_NOT_INITIALIZED),
    RETURN_VALUE(CKR_BUFFER_TOO_SMALL),
    RETURN_VALUE(CKR_CRYPTOKI_NOT_INITIALIZED),
};
#undef RETURN_VALUE

// Reports every return value except CKR_OK.
bool succeeded(CK_RV answer, const char* function, const char* label = "the session") {
    if (answer == CKR_OK) {
        return true;
    }
    const ReturnValueName* entry = std::find_if(returnValueNames.begin(), returnValueNames.end(),
                                                [answer](const ReturnValueName& row) { return row.value == answer; });
    return reportError("The card answered %s for %s with %s (0x%08lX)", function, label,
                       entry == returnValueNames.end() ? "an unknown code" : entry->name, answer);
}

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

Pkcs11Module::~Pkcs11Module() {
    if (finalize_) {
        static_cast<void>(functions_->C_Finalize(nullptr));
    }
}

bool Pkcs11Module::load() {
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
            reportError("The card driver %s can't be loaded (QVORA_HSM_MODULE names another one) : %s", names[i],
                        reasons[i].c_str());
        }
        return false;
    }
    const CK_RV answer = functions_->C_Initialize(nullptr);
    finalize_ = answer == CKR_OK;
    return answer == CKR_CRYPTOKI_ALREADY_INITIALIZED || succeeded(answer, "C_Initialize", "the driver");
}

void Pkcs11Module::lock() {
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

bool Pkcs11Module::findSlot(std::int32_t position, CK_SLOT_ID& slot) const {
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
    count = std::min<CK_ULONG>(count, slotIds.size());
    if (position < 0 || static_cast<CK_ULONG>(position) >= count) {
        return reportError("There is no card in slot %d : %lu slots have a card, counted from 0", position, count);
    }
    slot = slotIds[static_cast<std::size_t>(position)];
    return true;
}

Pkcs11Session::~Pkcs11Session() {
    if (session_ == CK_INVALID_HANDLE) {
        return;
    }
    if (loggedIn_) {
        static_cast<void>(module_.functions().C_Logout(session_));
    }
    static_cast<void>(module_.functions().C_CloseSession(session_));
}

bool Pkcs11Session::open(std::int32_t slotPosition, Access access) {
    CK_SLOT_ID slot = 0;
    if (!module_.findSlot(slotPosition, slot)) {
        return false;
    }
    const CK_FLAGS flags = CKF_SERIAL_SESSION | (access == Access::write ? CK_FLAGS{CKF_RW_SESSION} : CK_FLAGS{0});
    CK_SESSION_HANDLE session = CK_INVALID_HANDLE;
    if (!succeeded(module_.functions().C_OpenSession(slot, flags, nullptr, nullptr, &session), "C_OpenSession")) {
        return false;
    }
    session_ = session;
    return true;
}

bool Pkcs11Session::login(QByteArrayView pin) {
    auto* pinBytes = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(pin.data()));
    const CK_RV answer = module_.functions().C_Login(session_, CKU_USER, pinBytes, static_cast<CK_ULONG>(pin.size()));
    loggedIn_ = answer == CKR_OK;
    return answer == CKR_USER_ALREADY_LOGGED_IN || succeeded(answer, "C_Login", "the user PIN");
}

bool Pkcs11Session::find(const char* label, Handles& found) const {
    const CK_FUNCTION_LIST& driver = module_.functions();
    CK_BBOOL onToken = CK_TRUE;
    std::array<CK_ATTRIBUTE, 2> wanted{
        CK_ATTRIBUTE{CKA_LABEL, const_cast<char*>(label), std::strlen(label)},
        CK_ATTRIBUTE{CKA_TOKEN, &onToken, sizeof onToken},
    };
    if (!succeeded(driver.C_FindObjectsInit(session_, wanted.data(), wanted.size()), "C_FindObjectsInit", label)) {
        return false;
    }
    std::size_t total = 0;
    bool good = true;
    bool more = true;
    while (good && more) {
        CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
        CK_ULONG count = 0;
        good = succeeded(driver.C_FindObjects(session_, &object, 1, &count), "C_FindObjects", label);
        more = good && count != 0;
        if (more && ++total > maxObjects) {
            good = reportError("The card has more than %zu objects named %s", maxObjects, label);
        } else if (more) {
            found.push_back(object);
        }
    }
    const CK_RV finished = driver.C_FindObjectsFinal(session_);
    return good && succeeded(finished, "C_FindObjectsFinal", label);
}

bool Pkcs11Session::readValue(CK_OBJECT_HANDLE object, const char* label, QByteArray& value) const {
    const CK_FUNCTION_LIST& driver = module_.functions();
    const auto expectedSize = static_cast<CK_ULONG>(value.size());
    CK_ATTRIBUTE attribute{CKA_VALUE, nullptr, 0};
    if (!succeeded(driver.C_GetAttributeValue(session_, object, &attribute, 1), "C_GetAttributeValue", label)) {
        return false;
    }
    if (attribute.ulValueLen != expectedSize) {
        return reportError("The object %s on the card doesn't have %lu bytes", label, expectedSize);
    }
    attribute.pValue = value.data();
    if (!succeeded(driver.C_GetAttributeValue(session_, object, &attribute, 1), "C_GetAttributeValue", label)) {
        return false;
    }
    return attribute.ulValueLen == expectedSize ||
           reportError("The object %s on the card doesn't have %lu bytes", label, expectedSize);
}

bool Pkcs11Session::encrypt(CK_OBJECT_HANDLE key, const char* label, QByteArrayView plain,
                            QByteArray& encrypted) const {
    const CK_FUNCTION_LIST& driver = module_.functions();
    CK_MECHANISM mechanism{CKM_AES_ECB, nullptr, 0};
    if (!succeeded(driver.C_EncryptInit(session_, &mechanism, key), "C_EncryptInit", label)) {
        return false;
    }
    encrypted.fill('\0', plain.size());
    auto* const input = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(plain.data()));
    auto size = static_cast<CK_ULONG>(encrypted.size());
    return succeeded(driver.C_Encrypt(session_, input, static_cast<CK_ULONG>(plain.size()),
                                      reinterpret_cast<unsigned char*>(encrypted.data()), &size),
                     "C_Encrypt", label) &&
           (size == static_cast<CK_ULONG>(plain.size()) ||
            reportError("The card didn't encrypt a whole block with %s", label));
}

bool Pkcs11Session::create(std::vector<CK_ATTRIBUTE>& attributes, const char* label, Handles& created) const {
    CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
    if (!succeeded(module_.functions().C_CreateObject(session_, attributes.data(), attributes.size(), &object),
                   "C_CreateObject", label)) {
        return false;
    }
    created.push_back(object);
    return true;
}

bool Pkcs11Session::destroy(const Handles& objects, const char* label) const {
    return std::all_of(objects.rbegin(), objects.rend(), [this, label](CK_OBJECT_HANDLE object) {
        const CK_RV answer = module_.functions().C_DestroyObject(session_, object);
        return answer == CKR_OBJECT_HANDLE_INVALID || succeeded(answer, "C_DestroyObject", label);
    });
}

}  // namespace token
