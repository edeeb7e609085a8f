// The command "status".

#include "ledger/Ledger.h"
#include "ledger/Summary.h"
#include "produce/ConsoleListener.h"
#include "produce/ProduceCall.h"

#include <QCoreApplication>

#include <cstdio>

namespace produce {

int runStatus(const ProduceCall& call) {
    int count = 1;
    char name[] = "qvora-produce";
    char* words[] = {name, nullptr};
    const QCoreApplication application(count, words);
    ledger::Ledger ledger;
    ledger::Fault fault;
    ledger::Summary summary;
    if (!ledger.open(call.value("ledger"), ledger::Ledger::Access::readOnly, {}, fault) ||
        !ledger.summary(summary, fault)) {
        printFault(fault.text);
        return statusNothing;
    }
    for (const ledger::Summary::Product& product : summary.products) {
        std::printf("%s: %lld proven, %lld failed, %lld interrupted, %lld open, %lld recalled\n",
                    qUtf8Printable(printable(product.name)), static_cast<long long>(product.proven),
                    static_cast<long long>(product.failed), static_cast<long long>(product.interrupted),
                    static_cast<long long>(product.open), static_cast<long long>(product.recalled));
    }
    return statusDone;
}

}  // namespace produce
