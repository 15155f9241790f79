// A plug-in that does what a plug-in must not do. Its files begin with "BAD" and a letter that says what. Once it does
// it, there is a file of the name that the environment has as QUENLOFAR_BEGUN.
#include "pluginexports.h"

#include "containerabstract.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

using namespace quenlofar;

namespace {

constexpr int signatureSize = 4;

std::atomic<int> spinning{0}; // keeps loops that do nothing in the program

void sayThatItBegins()
{
    if (const char *const name = std::getenv("QUENLOFAR_BEGUN"))
        const std::ofstream begun(name);
}

[[noreturn]] void loopForever()
{
    for (;;)
        ++spinning;
}

/// Needs more and more stack; no stack is large enough for the depth at which it would return.
int exhaustStack(int depth)
{
    if (depth < 0)
        return 0;
    volatile char page[4096] = {};
    page[0] = char(depth);
    return exhaustStack(depth + 1) + page[0];
}

class BadParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        if (const int status = openFile(path); status != StatusOk)
            return status;
        const QByteArray signature = m_file.read(signatureSize);
        closeFile();
        if (signature == "BADv") {
            sayThatItBegins();
            loopForever();
        }
        return signature.startsWith("BAD") ? StatusOk : StatusNotRecognised;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return StatusOk;
    }
    int parseElement(quint64 *size) override
    {
        *size = quint64(m_file.size());
        const QByteArray signature = m_file.read(signatureSize);
        addField(false, 0, 0, signatureSize, QStringLiteral("signature"), QString::fromLatin1(signature), {}, {}, -1);
        sayThatItBegins();
        misbehave(signature.at(signatureSize - 1));
        return StatusOk;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }

private:
    void misbehave(char kind)
    {
        char byte = 0;
        switch (kind) {
        case 'l': // neither reads nor adds
            loopForever();
        case 'w': // reads only what is in memory already
            for (;;) {
                m_file.seek(0);
                m_file.read(&byte, 1);
            }
        case 'c': // does not let itself be stopped
            for (;;) {
                try {
                    addField(false, 0, 0, 1, QStringLiteral("more"), {}, {}, {}, -1);
                } catch (...) {
                    ++spinning;
                }
            }
        case 's': // is slow, but works
            for (quint64 place = signatureSize;; ++place) {
                addField(false, place, 0, 1, QStringLiteral("slow"), {}, {}, {}, -1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        case 'r': // reads all of the file again and again
            for (qint64 place = 0;; place = (place + 1'000'000) % m_file.size()) {
                m_file.seek(place);
                if (m_file.read(&byte, 1) != 1)
                    return;
            }
        case 'n': // follows a null pointer
            *const_cast<volatile int *>(static_cast<const int *>(nullptr)) = 1;
            return;
        case 'o':
            spinning = exhaustStack(0);
            return;
        case 'a':
            std::abort();
        case 'f':
            std::raise(SIGFPE);
            return;
        default:
            return;
        }
    }
};

} // namespace

QString containerName()
{
    return QStringLiteral("Bad");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("bad")};
}

ContainerAbstract *createParser()
{
    return new BadParser;
}
