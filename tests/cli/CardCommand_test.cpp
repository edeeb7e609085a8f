#include "tests/cli/CommandRun.h"
#include "tests/support/CardTest.h"

#include <QProcess>

namespace {

using CardCommand = CardTest;

struct CardRow {
    const char* arguments;
    int status;
    std::string output;
};

constexpr char blankCard[] =
    " | Read the following Information from HSM slot 0 : |  |   HSM STATE : VX_STATE |  |   HSM FW IDENTIFIER :  |  |"
    "   HSM COUNTER : 0 |  |   HSM VERSION : 2 |  |   HSM TYPE : SWT";
constexpr char programmedCard[] =
    " | Read the following Information from HSM slot 0 : |  |   HSM STATE : OPERATIONAL_STATE |  |   HSM FW IDENTIFIER "
    ": FW-1 |  |   HSM COUNTER : 5 |  |   HSM VERSION : 2 |  |   HSM TYPE : SWT";
constexpr char firstGenerationCard[] =
    " | Read the following Information from HSM slot 0 : |  |   HSM STATE : OEM_STATE |  |   HSM FW IDENTIFIER : "
    "0123456789ABCDEF |  |   HSM COUNTER : 5 |  |   HSM VERSION : 1 |  |   HSM TYPE : -";

TEST_F(CardCommand, ShowsAndPrograms) {
    folder.write("key.bin", QByteArray(16, 'k'));
    folder.write("nonce.bin", QByteArray(12, 'n'));
    folder.write("perso.bin", QByteArray(108, 'p'));
    const auto expectRows = [this](std::initializer_list<CardRow> rows) {
        for (const CardRow& row : rows) {
            const CommandResult result =
                runCommand(folder.path("."), splitArguments(QString::fromLatin1(row.arguments)));
            EXPECT_EQ(result.status, row.status) << row.arguments;
            EXPECT_EQ(result.body(), row.output) << row.arguments;
        }
    };
    const std::string wrongSlot = "Error: There is no card in slot 7 : 2 slots have a card, counted from 0 | Error: ";
    expectRows({
        {"-hsm -i 0 -info", 1, blankCard},
        {"-hsm -i 7 -info", 1, wrongSlot + "Failed to get available HSM info from slot 7"},
        {"-hsm -i 7 -k key.bin -n nonce.bin -id F -mc 5", 1, wrongSlot + "HSM Get informations failed"},
        {"-hsm -i 0 -pd", 1, "Error: You need to specify a file with the perso data option"},
        {"-hsm -i 0 -pd key.bin", 1,
         "Error: Size of key.bin is expected to be 108 (found 16) | Error: failed to open the perso data file !"},
        {"-hsm -i 0 -info -k key.bin -n nonce.bin -id FW-1 -mc 5 -pd perso.bin -pd perso.bin", 0,
         "Warning: The perso data option is only needed once, the first one is ignored | " + std::string(blankCard) +
             " |  | HSM programming success"},
        {"-hsm -i 0 -info", 1, programmedCard},
        {"-hsm -i 0 -k key.bin -n nonce.bin -id FW-2 -mc 6", 1,
         "Error: The card in slot 0 is programmed already, it is left as it is | Error: HSM programming failed"},
    });
    EXPECT_EQ(pkcs11Tool("--read-object --type data --label vx-card-perso"), QByteArray(108, 'p'));

    outsideTool("softhsm2-util --delete-token --token card");
    makeToken();
    writeData("vx-card-info", QByteArray::fromHex("0117414243000000"
                                                  "05000000"
                                                  "30313233343536373839414243444546"));
    expectRows({
        {"-hsm -i 0 -info", 1, firstGenerationCard},
        {"-hsm -i 0 -k key.bin -n nonce.bin -id FW-1 -mc 5 -pd none.bin", 0, "HSM programming success"},
    });
    outsideTool("softhsm2-util --delete-token --token card");
    expectRows({{"-hsm -i 0 -info", 1,
                 "Error: The card answered C_OpenSession for the session with CKR_TOKEN_NOT_RECOGNIZED (0x000000E1) | "
                 "Error: Failed to get available HSM info from slot 0"}});
}

/// Two runs that program the same card at the same time, each with its own nonce.
class TwoRuns : public CardTest {
  protected:
    void SetUp() override {
        CardTest::SetUp();
        folder.write("key.bin", QByteArray(16, 'k'));
        folder.write("perso.bin", QByteArray(108, 'p'));
        folder.write("1", QByteArray(12, '1'));
        folder.write("2", QByteArray(12, '2'));
    }
    static QString arguments(const char* run) {
        return QStringLiteral("-hsm -i 0 -k key.bin -n %1 -id %1 -mc 1 -pd perso.bin").arg(QLatin1String(run));
    }
    /// The shell command of the second run. It writes its output to "2.out" and its status to "2.status".
    QByteArray second() {
        return "cd " + folder.path(".").toUtf8() + " && QVORA_HSM_MODULE=" + driver + ' ' + QVORA_TOOL + ' ' +
               arguments("2").toUtf8() + " > 2.out; echo $? > 2.status";
    }
    void expectOneSuccess(const CommandResult& first) {
        const bool secondToo = folder.read("2.status").trimmed() == "0";
        ASSERT_NE(first.status == 0, secondToo) << first.body() << ' ' << folder.read("2.out").constData();
        EXPECT_EQ(pkcs11Tool("--read-object --type data --label vx-card-nonce"), QByteArray(12, secondToo ? '2' : '1'));
        EXPECT_EQ(pkcs11Tool("--list-objects").count("label:"), 4);
        EXPECT_EQ(first.body().find("stay on the card"), std::string::npos);
        outsideTool("softhsm2-util --delete-token --token card");
        makeToken();
    }
};

TEST_F(TwoRuns, OfOneMachineTakeTurns) {
    for (int round = 0; round < 5; ++round) {
        QProcess second;
        second.start(QStringLiteral("sh"), {QStringLiteral("-c"), QString::fromUtf8(this->second())});
        const CommandResult first = runCommand(folder.path("."), splitArguments(arguments("1")));
        ASSERT_TRUE(second.waitForFinished());
        expectOneSuccess(first);
    }
}

// During each search and each removal of the first run, a second run with its own lock programs the whole card.
TEST_F(TwoRuns, OfTwoMachinesNeverBothSucceed) {
    qputenv("FAILING_DRIVER_REAL", driver);
    bool isOver = false;
    for (int search = 1; !isOver && search < 50; ++search) {
        SCOPED_TRACE(search);
        writeData("vx-card-nonce", "of an attempt that broke off");
        qputenv("QVORA_HSM_MODULE", FAILING_DRIVER);
        qputenv("FAILING_DRIVER_CALL", QByteArray::number(search));
        qputenv("FAILING_DRIVER_COMMAND", second());
        folder.write("2.status", "not started");
        const CommandResult first = runCommand(folder.path("."), splitArguments(arguments("1")));
        qputenv("QVORA_HSM_MODULE", driver);
        qunsetenv("FAILING_DRIVER_COMMAND");
        isOver = folder.read("2.status") == "not started";
        expectOneSuccess(first);
    }
    EXPECT_TRUE(isOver);
}

}  // namespace
