#pragma once

#include "files/FileHandle.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>

/// Gives each test its own SoftHSM token in slot 0. This process and the processes that it starts use it.
class CardTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* path :
             {"/usr/lib/softhsm/libsofthsm2.so", "/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so"}) {
            driver = QFile::exists(QLatin1String(path)) ? QByteArray(path) : driver;
        }
        ASSERT_FALSE(driver.isEmpty()) << "SoftHSM (package softhsm2) is not installed";
        // Two runs that program cards with one driver wait for each other and print a message. The tests take turns, so
        // that no run prints it.
        const QByteArray place = QFile::encodeName(QFileInfo(QString::fromUtf8(driver)).path());
        turn_ = FileHandle(open(place.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_EQ(flock(turn_.get(), LOCK_EX), 0) << place.constData();
        const QByteArray config = "directories.tokendir = " + folder.path("").toUtf8() + "\nlog.level = ERROR\n";
        qputenv("SOFTHSM2_CONF", folder.write("softhsm2.conf", config).toUtf8());
        qputenv("QVORA_HSM_MODULE", driver);
        qputenv("QVORA_HSM_PIN", "1234");
        makeToken();
    }
    static void makeToken() { outsideTool("softhsm2-util --init-token --free --label card --pin 1234 --so-pin 5678"); }
    QByteArray pkcs11Tool(const QByteArray& arguments, const char* login = "--login --pin 1234 ") {
        return outsideTool("pkcs11-tool --module " + driver + " --slot-index 0 " + login + arguments);
    }
    void writeData(const QByteArray& label, const QByteArray& content) {
        const QByteArray path = folder.write("object", content).toUtf8();
        pkcs11Tool("--write-object " + path + " --type data --label " + label);
    }

    QByteArray driver;
    TempFolder folder;

  private:
    FileHandle turn_;
};
