// A driver that passes calls to the driver in SCRIPTED_DRIVER_REAL. SCRIPTED_DRIVER_FAULT is "NAME NUMBER VALUE": call
// NUMBER, from 1, of the function NAME returns VALUE instead. The driver counts what the program has begun and not
// ended.

#include <p11-kit/pkcs11.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <dlfcn.h>

namespace {

CK_FUNCTION_LIST* real = nullptr;
CK_FUNCTION_LIST scripted{};

struct Counts {
    int initialized = 0;  // successful calls of C_Initialize, minus those of C_Finalize
    int sessions = 0;     // open sessions
    int logins = 0;       // calls of C_Login that the real driver received
    int calls = 0;        // calls of the function that fails
};
Counts counts;

/// The value that this call returns instead, or CKR_OK.
CK_RV faultOf(const char* name) {
    const char* const fault = std::getenv("SCRIPTED_DRIVER_FAULT");
    char wanted[64];
    int number = 0;
    unsigned long value = 0;
    if (fault == nullptr || std::sscanf(fault, "%63s %d %lu", wanted, &number, &value) != 3 ||
        std::strcmp(name, wanted) != 0) {
        return CKR_OK;
    }
    return ++counts.calls == number ? value : CKR_OK;
}

void count(std::string_view name) {
    if (name == "C_Initialize") {
        ++counts.initialized;
    } else if (name == "C_Finalize") {
        --counts.initialized;
    } else if (name == "C_OpenSession") {
        ++counts.sessions;
    } else if (name == "C_CloseSession") {
        --counts.sessions;
    }
}

template <auto function>
const char* nameOf();

template <auto function, typename... Arguments>
CK_RV handOn(Arguments... arguments) {
    const std::string_view name = nameOf<function>();
    // If a call that ends something fails, the real driver ends it nevertheless.
    const bool isEnd = name == "C_Finalize" || name == "C_CloseSession";
    const CK_RV fault = faultOf(nameOf<function>());
    if (fault != CKR_OK && !isEnd) {
        return fault;
    }
    counts.logins += name == "C_Login" ? 1 : 0;
    const CK_RV answer = (real->*function)(arguments...);
    if (answer == CKR_OK) {
        count(name);
    }
    return fault != CKR_OK ? fault : answer;
}

#define HANDED_ON(X)       \
    X(C_Initialize)        \
    X(C_Finalize)          \
    X(C_GetInfo)           \
    X(C_GetSlotList)       \
    X(C_GetSlotInfo)       \
    X(C_GetTokenInfo)      \
    X(C_GetMechanismInfo)  \
    X(C_OpenSession)       \
    X(C_CloseSession)      \
    X(C_Login)             \
    X(C_Logout)            \
    X(C_FindObjectsInit)   \
    X(C_FindObjects)       \
    X(C_FindObjectsFinal)  \
    X(C_GetAttributeValue) \
    X(C_SignInit)          \
    X(C_Sign)

#define NAME(name)                                  \
    template <>                                     \
    const char* nameOf<&CK_FUNCTION_LIST::name>() { \
        return #name;                               \
    }
HANDED_ON(NAME)

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    if (real == nullptr) {
        void* library = dlopen(std::getenv("SCRIPTED_DRIVER_REAL"), RTLD_NOW);
        reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"))(&real);
        scripted = *real;
#define REPLACE(name) scripted.name = handOn<&CK_FUNCTION_LIST::name>;
        HANDED_ON(REPLACE)
    }
    *list = &scripted;
    return CKR_OK;
}

/// Returns the counts since the last call and sets them to 0: what is still initialised and open, and how many logins
/// were tried.
extern "C" void takeCounts(int* initialized, int* sessions, int* logins) {
    *initialized = counts.initialized;
    *sessions = counts.sessions;
    *logins = counts.logins;
    counts = {};
}
