#include "obkey/Interruption.h"

#include <csignal>
#include <cstddef>

namespace obkey {

namespace {

constexpr int caught[] = {SIGINT, SIGTERM};
constexpr std::size_t caughtCount = sizeof caught / sizeof caught[0];

struct sigaction before[caughtCount];
volatile std::sig_atomic_t pending = 0;

void note(int signal) {
    pending = signal;
}

}  // namespace

Interruption::Interruption() {
    pending = 0;
    struct sigaction noting {};
    noting.sa_handler = note;
    noting.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < caughtCount; ++i) {
        sigaction(caught[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN) {
            sigaction(caught[i], &noting, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < caughtCount; ++i) {
        sigaction(caught[i], &before[i], nullptr);
    }
    if (pending != 0) {
        std::raise(pending);
    }
}

bool Interruption::isPending() {
    return pending != 0;
}

}  // namespace obkey
