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
    constexpr int Threads = 8;
    std::atomic<int> ready { 0 };
    std::vector<QByteArray> results(Threads, QByteArray(16, '\0'));
    std::vector<QString> texts(Threads);
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            for (ready.fetch_add(1); ready.load() < Threads;)
                std::this_thread::yield();
            // Half the threads take the table path, half the hardware path where there is one.
            AES aes;
            aes.__TEST_ONLY_UseHardware(t % 2 == 0);
            aes.SetParameters(128, 128);
            aes.StartEncryption(reinterpret_cast<const unsigned char*>(key.constData()));
            aes.Encrypt(reinterpret_cast<const unsigned char*>(plain.constData()),
                reinterpret_cast<unsigned char*>(results[size_t(t)].data()), 1, AES::ECB);
            for (int i = 0; i < 200; ++i)
                texts[size_t(t)]
                    = sync::core::crypto::Decrypt(sync::core::crypto::Encrypt(QString::number(t)));
        });
    }
    for (std::thread& th : threads)
        th.join();
    for (int t = 0; t < Threads; ++t) {
        EXPECT_EQ(results[size_t(t)].toHex(), "69c4e0d86a7b0430d8cdb78070b4c55a") << "thread " << t;
        EXPECT_EQ(texts[size_t(t)], QString::number(t));
    }
}

} // namespace
