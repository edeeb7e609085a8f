#include "token/driverUse.h"

#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace token {

namespace {

struct TokenUse {
    CK_SLOT_ID slot = 0;
    int sessions = 0;
    LoginState login = LoginState::none;
};

struct DriverUse {
    const CK_FUNCTION_LIST* functions = nullptr;
    int users = 0;
    bool finalize = false;  // false if other code in this process initialised the driver
    std::vector<TokenUse> tokens;
};

/// Locks the record for the lifetime of this object.
class Record {
  public:
    Record() : lock_(shared().mutex) {
        // The parent's sessions don't exist in a child.
        if (shared().process != getpid()) {
            shared().process = getpid();
            shared().drivers.clear();
        }
    }

    DriverUse& driver(const CK_FUNCTION_LIST* functions) {
        std::vector<DriverUse>& drivers = shared().drivers;
        const auto use = std::find_if(drivers.begin(), drivers.end(),
                                      [functions](const DriverUse& row) { return row.functions == functions; });
        if (use != drivers.end()) {
            return *use;
        }
        DriverUse added;
        added.functions = functions;
        return drivers.emplace_back(added);
    }
    TokenUse& slot(const CK_FUNCTION_LIST* functions, CK_SLOT_ID id) {
        std::vector<TokenUse>& tokens = driver(functions).tokens;
        const auto use =
            std::find_if(tokens.begin(), tokens.end(), [id](const TokenUse& row) { return row.slot == id; });
        return use != tokens.end() ? *use : tokens.emplace_back(TokenUse{id, 0, LoginState::none});
    }

  private:
    struct Shared {
        std::mutex mutex;
        pid_t process = getpid();
        std::vector<DriverUse> drivers;
    };

    // Never destroyed, because objects that use drivers may be destroyed later than any static object.
    static Shared& shared() {
        static Shared* const record = new Shared;
        return *record;
    }

    std::lock_guard<std::mutex> lock_;
};

CK_RV initialize(const CK_FUNCTION_LIST* functions) {
    CK_C_INITIALIZE_ARGS arguments{};
    arguments.flags = CKF_OS_LOCKING_OK;
    const CK_RV answer = functions->C_Initialize(&arguments);
    // The driver knows no locks of this system. One thread can use it without them.
    return answer == CKR_CANT_LOCK ? functions->C_Initialize(nullptr) : answer;
}

}  // namespace

CK_RV beginUse(const CK_FUNCTION_LIST* functions) {
    Record record;
    DriverUse& driver = record.driver(functions);
    if (driver.users == 0) {
        const CK_RV answer = initialize(functions);
        if (answer != CKR_OK && answer != CKR_CRYPTOKI_ALREADY_INITIALIZED) {
            return answer;
        }
        driver.finalize = answer == CKR_OK;
    }
    ++driver.users;
    return CKR_OK;
}

void endUse(const CK_FUNCTION_LIST* functions) {
    Record record;
    DriverUse& driver = record.driver(functions);
    if (--driver.users > 0) {
        return;
    }
    driver.tokens.clear();
    if (driver.finalize) {
        static_cast<void>(functions->C_Finalize(nullptr));
    }
}

void beginSession(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot) {
    ++Record().slot(functions, slot).sessions;
}

bool endSession(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot) {
    Record record;
    TokenUse& use = record.slot(functions, slot);
    const bool logsOut = --use.sessions == 0 && use.login == LoginState::done;
    if (logsOut) {
        use.login = LoginState::none;
    }
    return logsOut;
}

LoginState loginState(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot) {
    return Record().slot(functions, slot).login;
}

void setLoginState(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot, LoginState state) {
    Record().slot(functions, slot).login = state;
}

}  // namespace token
