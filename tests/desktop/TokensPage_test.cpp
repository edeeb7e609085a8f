#include "tests/desktop/DesktopKit.h"
#include "tests/token/TokenTest.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The window with qvora-sign beside the tool, as an installed package has them, and two tokens.
class TokensPage : public TokenTest {
  protected:
    void SetUp() override {
        TokenTest::SetUp();
        kit.context.toolPath = kit.folder.path("QVORASealedBundleBuilder_CLI");
        QFile::link(QStringLiteral(QVORA_TOOL), kit.context.toolPath);
        QFile::link(QStringLiteral(QVORA_SIGN), kit.folder.path("qvora-sign"));
        kit.show("tokens");
    }
    [[nodiscard]] std::string state() { return kit.find<QLabel>("tokensState")->text().toStdString(); }
    /// Presses a button and waits for the answer of the program.
    std::string stateAfter(const char* button) {
        kit.press(button);
        EXPECT_TRUE(DesktopKit::waitFor([this] { return state() != "Waiting for the token…"; }));
        return state();
    }
    /// Chooses a row by its first column.
    void choose(const QString& name) {
        auto* tree = kit.find<QTreeWidget>("tokens");
        const QList<QTreeWidgetItem*> rows = tree->findItems(name, Qt::MatchExactly | Qt::MatchRecursive);
        ASSERT_FALSE(rows.isEmpty()) << name.toStdString();
        tree->setCurrentItem(rows.constFirst());
    }
    [[nodiscard]] QString objectsOf(const QString& name) {
        return kit.find<QTreeWidget>("tokens")
            ->findItems(name, Qt::MatchExactly | Qt::MatchRecursive)
            .value(0)
            ->text(2);
    }

    DesktopKit kit;
};

TEST_F(TokensPage, ListsKeysAndShowsPrivateOnesAfterALogin) {
    EXPECT_EQ(stateAfter("list"), "3 tokens");
    choose(QStringLiteral("firmware"));
    EXPECT_EQ(objectsOf(QStringLiteral("firmware")), QStringLiteral("public"));
    kit.dialogs.pin = QStringLiteral("1234");
    EXPECT_EQ(stateAfter("logIn"), "Logged in, logged out again.");
    EXPECT_THAT(kit.dialogs.asked.constLast().toStdString(), HasSubstr("“line”"));
    EXPECT_EQ(objectsOf(QStringLiteral("firmware")), QStringLiteral("private, public"));
    choose(QStringLiteral("radio"));
    kit.press("copyUri");
    EXPECT_THAT(QGuiApplication::clipboard()->text().toStdString(), HasSubstr("object=radio"));
    EXPECT_EQ(kit.find<QLineEdit>("uri")->text(), QGuiApplication::clipboard()->text());
    choose(QStringLiteral("other"));
    EXPECT_THAT(stateAfter("logIn"), HasSubstr("CKR_PIN_INCORRECT"));
    EXPECT_EQ(objectsOf(QStringLiteral("firmware")), QStringLiteral("private, public")) << "the list stays";
}

TEST_F(TokensPage, SignsWithTheChosenKey) {
    ASSERT_EQ(stateAfter("list"), "3 tokens");
    const QByteArray content("made-up stack\x91\x29\x37\x23", 17);
    kit.type("binary", kit.folder.write("stack.bin", content));
    const QString output = kit.folder.path("signed.bin");
    kit.type("output", output);
    kit.type("version", QStringLiteral("7"));
    kit.dialogs.pin = QStringLiteral("1234");
    for (const char* const key : {"firmware", "radio"}) {
        QFile::remove(output);
        choose(QLatin1String(key));
        EXPECT_THAT(stateAfter("sign"), HasSubstr("signed with the key")) << key;
        EXPECT_EQ(fileContent(output).size(), content.size() + (qstrcmp(key, "radio") == 0 ? 256 : 80)) << key;
    }
    const QByteArray older = fileContent(output);
    kit.dialogs.confirmations = {false};
    kit.press("sign");
    EXPECT_EQ(fileContent(output), older) << "not replaced without the user's consent";
    kit.dialogs.confirmations = {true};
    kit.dialogs.pin = QStringLiteral("9999");
    EXPECT_THAT(stateAfter("sign"), HasSubstr("CKR_PIN_INCORRECT"));
    EXPECT_EQ(fileContent(output), older);
    kit.dialogs.confirmations = {true};
    kit.dialogs.pin = QString();
    const std::string before = state();
    kit.press("sign");
    EXPECT_EQ(state(), before) << "the user cancelled";
}

TEST_F(TokensPage, SaysWhatIsMissing) {
    kit.type("driver", QStringLiteral("/missing driver.so"));
    EXPECT_THAT(stateAfter("list"), HasSubstr("/missing driver.so can't be loaded"));
    EXPECT_FALSE(kit.window->findChild<QPushButton*>(QStringLiteral("sign"))->isEnabled());
    QFile::remove(kit.folder.path("qvora-sign"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nowhere");
    kit.press("list");
    qputenv("PATH", path);
    EXPECT_THAT(state(), HasSubstr("qvora-sealed-bundle-builder-production"));
}

}  // namespace
