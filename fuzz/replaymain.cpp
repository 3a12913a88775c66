// Replays a fuzz target's corpus, and a fixed series of pseudo-random inputs,
// through its LLVMFuzzerTestOneInput. Built into every test build so that the
// fuzz entry points run under the sanitizers even without clang's libFuzzer.

#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    int replayed = 0;
    if (argc > 1) {
        const QDir corpus(QFile::decodeName(argv[1]));
        for (const QString& name : corpus.entryList(QDir::Files)) {
            QFile f(corpus.filePath(name));
            if (!f.open(QIODevice::ReadOnly))
                continue;
            const QByteArray data = f.readAll();
            LLVMFuzzerTestOneInput(
                reinterpret_cast<const uint8_t*>(data.constData()), size_t(data.size()));
            ++replayed;
        }
    }
    // Fixed seed: the same inputs on every run, so a failure reproduces.
    std::mt19937 rng(20261123u);
    const char alphabet[] = "<>/&\"'=%0123456789abcdefPTHMSWDY.-:+ \\C|$(){}\xc3\xa9\x00\xff";
    for (int i = 0; i < 20000; ++i) {
        std::vector<uint8_t> data(rng() % 96);
        for (auto& b : data)
            b = (rng() % 3 == 0) ? uint8_t(rng())
                                 : uint8_t(alphabet[rng() % (sizeof alphabet - 1)]);
        LLVMFuzzerTestOneInput(data.data(), data.size());
        ++replayed;
    }
    std::printf("replayed %d inputs\n", replayed);
    return 0;
}
