// A card driver that passes calls to the driver in FAILING_DRIVER_REAL. FAILING_DRIVER_CALL is the number of a call,
// from 1. This call returns CKR_DEVICE_REMOVED. If the number is negative, all later calls return it, too. If
// FAILING_DRIVER_COMMAND is set, no call fails. Instead, that command runs once, before search or removal number
// FAILING_DRIVER_CALL, as if another process changed the card at this time.

#include <p11-kit/pkcs11.h>

#include <cstdlib>

#include <dlfcn.h>

namespace {

CK_FUNCTION_LIST* real = nullptr;
CK_FUNCTION_LIST failing{};
int calls = 0;
bool commandRan = false;

bool fails() {
    const int failingCall = std::atoi(std::getenv("FAILING_DRIVER_CALL"));
    ++calls;
    return failingCall < 0 ? calls >= -failingCall : calls == failingCall;
}

template <auto function, typename... Arguments>
CK_RV handOn(Arguments... arguments) {
    const bool mayFail = std::getenv("FAILING_DRIVER_COMMAND") == nullptr;
    return mayFail && fails() ? CKR_DEVICE_REMOVED : (real->*function)(arguments...);
}

template <auto function, typename... Arguments>
CK_RV handOnLater(Arguments... arguments) {
    const char* const command = std::getenv("FAILING_DRIVER_COMMAND");
    commandRan = commandRan || (command != nullptr && fails() && std::system(command) == 0);
    return handOn<function>(arguments...);
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    void* library = dlopen(std::getenv("FAILING_DRIVER_REAL"), RTLD_NOW);
    reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"))(&real);
    failing = *real;
    failing.C_Initialize = handOn<&CK_FUNCTION_LIST::C_Initialize>;
    failing.C_GetSlotList = handOn<&CK_FUNCTION_LIST::C_GetSlotList>;
    failing.C_OpenSession = handOn<&CK_FUNCTION_LIST::C_OpenSession>;
    failing.C_Login = handOn<&CK_FUNCTION_LIST::C_Login>;
    failing.C_FindObjectsInit = handOnLater<&CK_FUNCTION_LIST::C_FindObjectsInit>;
    failing.C_FindObjects = handOn<&CK_FUNCTION_LIST::C_FindObjects>;
    failing.C_FindObjectsFinal = handOn<&CK_FUNCTION_LIST::C_FindObjectsFinal>;
    failing.C_GetAttributeValue = handOn<&CK_FUNCTION_LIST::C_GetAttributeValue>;
    failing.C_CreateObject = handOn<&CK_FUNCTION_LIST::C_CreateObject>;
    failing.C_DestroyObject = handOnLater<&CK_FUNCTION_LIST::C_DestroyObject>;
    calls = std::getenv("FAILING_DRIVER_COMMAND") == nullptr ? 0 : calls;
    *list = &failing;
    return CKR_OK;
}
