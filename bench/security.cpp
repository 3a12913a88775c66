// Security benchmarks, each beside its reference from the same run:
//   AES-128 ECB and CBC (table path, AES-instruction path) against OpenSSL's EVP;
//   GenerateHash (SHA-1) and GenerateHashMD5 of a large file against sha1sum / md5sum.
//
// SYNCCORE_BENCH_HASH_MIB sets the size of the hashed file (default 1024 MiB).
//
// Rates are per CPU second, not per wall-clock second: the build machine is
// shared, and waiting for a core says nothing about either implementation.
// The coreutils programs run as children, so their CPU time is taken from
// the children's resource usage.

#include "Sync/SyncCore/AES.h"
#include "Sync/SyncCore/CryptographicHash.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <openssl/evp.h>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t AesBufferBytes = 256 * 1024;

enum class Impl { Table, Hardware, OpenSsl };
enum class Op { EcbEncrypt, EcbDecrypt, CbcEncrypt, CbcDecrypt };

const char* implName(Impl i)
{
    switch (i) {
    case Impl::Table:
        return "table";
    case Impl::Hardware:
        return "hardware";
    case Impl::OpenSsl:
        return "openssl";
    }
    return "";
}

const char* opName(Op o)
{
    switch (o) {
    case Op::EcbEncrypt:
        return "ECB-encrypt";
    case Op::EcbDecrypt:
        return "ECB-decrypt";
    case Op::CbcEncrypt:
        return "CBC-encrypt";
    case Op::CbcDecrypt:
        return "CBC-decrypt";
    }
    return "";
}

bool encrypting(Op o)
{
    return o == Op::EcbEncrypt || o == Op::CbcEncrypt;
}

bool chaining(Op o)
{
    return o == Op::CbcEncrypt || o == Op::CbcDecrypt;
}

std::vector<unsigned char> randomBuffer(size_t n)
{
    std::mt19937 rng(1234);
    std::vector<unsigned char> b(n);
    for (auto& c : b)
        c = static_cast<unsigned char>(rng());
    return b;
}

const unsigned char benchKey[16] = { 0x2b, 0x7e, 0x15, 0x16, 0x28, 0xae, 0xd2, 0xa6, 0xab, 0xf7,
    0x15, 0x88, 0x09, 0xcf, 0x4f, 0x3c };

void benchOurs(benchmark::State& state, Impl impl, Op op)
{
    if (impl == Impl::Hardware && !AES::HasHardwareSupport()) {
        state.SkipWithError("no AES instructions on this processor");
        return;
    }
    AES aes;
    aes.__TEST_ONLY_UseHardware(impl == Impl::Hardware);
    aes.SetParameters(128, 128);
    if (encrypting(op))
        aes.StartEncryption(benchKey);
    else
        aes.StartDecryption(benchKey);
    const std::vector<unsigned char> in = randomBuffer(AesBufferBytes);
    std::vector<unsigned char> out(AesBufferBytes);
    const AES::BlockMode mode = chaining(op) ? AES::CBC : AES::ECB;
    for (auto _ : state) {
        if (encrypting(op))
            aes.Encrypt(in.data(), out.data(), AesBufferBytes / 16, mode);
        else
            aes.Decrypt(in.data(), out.data(), AesBufferBytes / 16, mode);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(AesBufferBytes));
}

void benchOpenSsl(benchmark::State& state, Op op)
{
    const EVP_CIPHER* cipher = chaining(op) ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
    const unsigned char iv[16] = {};
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, cipher, nullptr, benchKey, iv, encrypting(op) ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    const std::vector<unsigned char> in = randomBuffer(AesBufferBytes);
    std::vector<unsigned char> out(AesBufferBytes + 16);
    for (auto _ : state) {
        // Restart the chain from the zero vector each time, as one AES call does.
        EVP_CipherInit_ex(ctx, nullptr, nullptr, nullptr, iv, -1);
        int written = 0;
        EVP_CipherUpdate(ctx, out.data(), &written, in.data(), int(AesBufferBytes));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    EVP_CIPHER_CTX_free(ctx);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(AesBufferBytes));
}

// --- hashing ---------------------------------------------------------------

QString hashFilePath;
qint64 hashFileBytes = 0;

bool makeHashFile(const QString& path, qint64 mib)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    std::vector<unsigned char> chunk = randomBuffer(1024 * 1024);
    for (qint64 i = 0; i < mib; ++i) {
        // Vary each MiB so that no two are alike.
        std::memcpy(chunk.data(), &i, sizeof i);
        if (f.write(reinterpret_cast<const char*>(chunk.data()), qint64(chunk.size()))
            != qint64(chunk.size()))
            return false;
    }
    hashFileBytes = f.size();
    return true;
}

/// User plus system CPU seconds of this process (RUSAGE_SELF) or of its reaped children.
double cpuSeconds(int who)
{
    rusage u {};
    getrusage(who, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec)
        + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

void benchGenerateHash(benchmark::State& state, bool md5)
{
    sync::core::CryptographicHash hash;
    for (auto _ : state) {
        const double before = cpuSeconds(RUSAGE_SELF);
        const QString digest
            = md5 ? hash.GenerateHashMD5(hashFilePath) : hash.GenerateHash(hashFilePath);
        state.SetIterationTime(cpuSeconds(RUSAGE_SELF) - before);
        if (digest.isNull())
            state.SkipWithError("cannot read the file");
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * hashFileBytes);
}

void benchCoreutils(benchmark::State& state, const QString& program)
{
    for (auto _ : state) {
        const double before = cpuSeconds(RUSAGE_CHILDREN);
        QProcess p;
        p.start(program, { hashFilePath });
        if (!p.waitForFinished(-1) || p.exitCode() != 0)
            state.SkipWithError("the program failed");
        state.SetIterationTime(cpuSeconds(RUSAGE_CHILDREN) - before);
        benchmark::DoNotOptimize(p.readAllStandardOutput());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * hashFileBytes);
}

// --- summary ---------------------------------------------------------------

class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            const auto it = run.counters.find("bytes_per_second");
            if (!run.error_occurred && it != run.counters.end())
                rates[run.run_name.function_name] = double(it->second) / 1e6;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> rates; // MB/s (10^6 bytes per second) by benchmark name
};

void printRatio(const CollectingReporter& r, const std::string& ours, const std::string& reference,
    double target)
{
    const auto a = r.rates.find(ours);
    const auto b = r.rates.find(reference);
    if (a == r.rates.end() || b == r.rates.end()) {
        std::printf("%-28s not measured\n", ours.c_str());
        return;
    }
    const double ratio = a->second / b->second;
    std::printf("%-28s %9.1f MB/s   %-28s %9.1f MB/s   ratio %5.2fx  (target >= %.2fx: %s)\n",
        ours.c_str(), a->second, reference.c_str(), b->second, ratio, target,
        ratio >= target ? "met" : "NOT met");
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    const Op ops[] = { Op::EcbEncrypt, Op::EcbDecrypt, Op::CbcEncrypt, Op::CbcDecrypt };
    for (Op op : ops) {
        for (Impl impl : { Impl::Table, Impl::Hardware, Impl::OpenSsl }) {
            const std::string name = std::string("AES128/") + opName(op) + "/" + implName(impl);
            if (impl == Impl::OpenSsl)
                benchmark::RegisterBenchmark(name.c_str(), benchOpenSsl, op);
            else
                benchmark::RegisterBenchmark(name.c_str(), benchOurs, impl, op);
        }
    }

    QTemporaryDir dir;
    const char* sizeText = std::getenv("SYNCCORE_BENCH_HASH_MIB");
    const qint64 mib = sizeText ? std::atoll(sizeText) : 1024;
    hashFilePath = dir.filePath(QStringLiteral("hashed.bin"));
    if (!dir.isValid() || !makeHashFile(hashFilePath, mib)) {
        std::fprintf(
            stderr, "cannot write the %lld MiB file to hash\n", static_cast<long long>(mib));
        return 1;
    }
    std::printf(
        "hashing a %lld MiB file (read from the page cache)\n", static_cast<long long>(mib));
    for (const char* name : { "Hash/SHA-1/GenerateHash", "Hash/SHA-1/sha1sum",
             "Hash/MD5/GenerateHashMD5", "Hash/MD5/md5sum" }) {
        const std::string n(name);
        benchmark::internal::Benchmark* b = nullptr;
        if (n == "Hash/SHA-1/GenerateHash")
            b = benchmark::RegisterBenchmark(name, benchGenerateHash, false);
        else if (n == "Hash/MD5/GenerateHashMD5")
            b = benchmark::RegisterBenchmark(name, benchGenerateHash, true);
        else
            b = benchmark::RegisterBenchmark(name, benchCoreutils,
                n.find("sha1") != std::string::npos ? QStringLiteral("sha1sum")
                                                    : QStringLiteral("md5sum"));
        b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
    }

    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\nSummary (ours vs reference, same run, MB = 10^6 bytes per CPU second)\n");
    for (Op op : ops) {
        const std::string base = std::string("AES128/") + opName(op) + "/";
        printRatio(reporter, base + "table", base + "openssl", 0.15);
        printRatio(reporter, base + "hardware", base + "openssl", 0.8);
    }
    printRatio(reporter, "Hash/SHA-1/GenerateHash", "Hash/SHA-1/sha1sum", 1.6);
    printRatio(reporter, "Hash/MD5/GenerateHashMD5", "Hash/MD5/md5sum", 0.9);
    benchmark::Shutdown();
    return 0;
}
