// The shared AES tables are built by whichever object comes first; here many
// threads race to be first (this executable makes no AES object before), and
// then encrypt stored values side by side.

#include "Sync/SyncCore/AES.h"
#include "Sync/SyncCore/Crypto.h"

#include <gtest/gtest.h>

#include <QByteArray>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(AesConcurrentTest, FirstObjectsOnManyThreadsSeeFinishedTables)
{
    const QByteArray key = QByteArray::fromHex("000102030405060708090a0b0c0d0e0f");
    const QByteArray plain = QByteArray::fromHex("00112233445566778899aabbccddeeff");
    std::atomic<int> ready { 0 };
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (++ready; ready.load() < 8;)
                std::this_thread::yield();
            // Half the threads take the table path, half the hardware path where there is one.
            AES aes;
            aes.__TEST_ONLY_UseHardware(t % 2 == 0);
            aes.SetParameters(128, 128);
            aes.StartEncryption(reinterpret_cast<const unsigned char*>(key.constData()));
            QByteArray out(16, '\0');
            aes.Encrypt(reinterpret_cast<const unsigned char*>(plain.constData()),
                reinterpret_cast<unsigned char*>(out.data()), 1, AES::ECB);
            EXPECT_EQ(out.toHex(), "69c4e0d86a7b0430d8cdb78070b4c55a") << "thread " << t;
            const QString text = QString::number(t);
            for (int i = 0; i < 200; ++i)
                EXPECT_EQ(sync::core::crypto::Decrypt(sync::core::crypto::Encrypt(text)), text);
        });
    }
    for (std::thread& th : threads)
        th.join();
}

} // namespace
