#include "digest.h"

#include "filedevice.h"
#include "filepath.h"
#include "filestamp.h"

#include <nettle/sha2.h>
#include <xxhash.h>

#include <QByteArray>

#include <cerrno>
#include <memory>
#include <new>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace quenlofar {

namespace {

constexpr size_t blockSize = size_t(1) << 18; // bytes: stays in the processor's cache between reading and adding up

/// Adds bytes up.
class Digest
{
public:
    Digest() = default;
    Digest(const Digest &) = delete;
    Digest &operator=(const Digest &) = delete;
    virtual ~Digest() = default;

    virtual void add(const char *bytes, size_t count) = 0;
    virtual QByteArray result() = 0;
};

class Sha256Digest : public Digest
{
public:
    Sha256Digest() { sha256_init(&m_state); }
    void add(const char *bytes, size_t count) override
    {
        sha256_update(&m_state, count, reinterpret_cast<const quint8 *>(bytes));
    }
    QByteArray result() override
    {
        QByteArray bytes(SHA256_DIGEST_SIZE, '\0');
        sha256_digest(&m_state, SHA256_DIGEST_SIZE, reinterpret_cast<quint8 *>(bytes.data()));
        return bytes;
    }

private:
    sha256_ctx m_state = {};
};

class FastDigest : public Digest
{
public:
    FastDigest() : m_state(XXH3_createState())
    {
        if (!m_state)
            throw std::bad_alloc();
        XXH3_128bits_reset(m_state.get());
    }
    void add(const char *bytes, size_t count) override { XXH3_128bits_update(m_state.get(), bytes, count); }
    QByteArray result() override
    {
        XXH128_canonical_t canonical;
        XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(m_state.get()));
        return QByteArray(reinterpret_cast<const char *>(canonical.digest), int(sizeof canonical.digest));
    }

private:
    struct Freer
    {
        void operator()(XXH3_state_t *state) const { XXH3_freeState(state); }
    };
    std::unique_ptr<XXH3_state_t, Freer> m_state;
};

class OpenFile
{
public:
    explicit OpenFile(const QString &path)
        : m_descriptor(::open(pathToBytes(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    ~OpenFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    int descriptor() const { return m_descriptor; }

private:
    const int m_descriptor;
};

} // namespace

QString digestKindText(DigestKind kind)
{
    return kind == DigestKind::Fast ? QStringLiteral("fast")
        : kind == DigestKind::None  ? QStringLiteral("none")
                                    : QStringLiteral("sha256");
}

DigestKind digestKindFromText(const QString &text)
{
    for (const DigestKind kind : {DigestKind::Fast, DigestKind::Sha256}) {
        if (text == digestKindText(kind))
            return kind;
    }
    return DigestKind::None;
}

QString fileDigest(const QString &path, DigestKind kind, const std::atomic<bool> &cancel, WalkProgress *progress,
                   QString *error)
{
    if (kind == DigestKind::None)
        return {};
    const OpenFile file(path);
    if (file.descriptor() < 0) {
        *error = errnoText(errno);
        return {};
    }
    ::posix_fadvise(file.descriptor(), 0, 0, POSIX_FADV_SEQUENTIAL); // only advice
    std::unique_ptr<Digest> digest;
    if (kind == DigestKind::Fast)
        digest = std::make_unique<FastDigest>();
    else
        digest = std::make_unique<Sha256Digest>();
    thread_local std::vector<char> block;
    block.resize(blockSize);
    for (qint64 position = 0;;) {
        if (cancel)
            return {};
        if (progress)
            progress->isReading = true;
        const ssize_t count = ::read(file.descriptor(), block.data(), block.size());
        const int failure = errno;
        if (progress)
            progress->isReading = false;
        if (count == 0)
            break;
        if (count < 0) {
            if (failure == EINTR)
                continue;
            *error = errnoText(failure);
            return {};
        }
        digest->add(block.data(), size_t(count));
        position += count;
        if (progress)
            progress->position = position;
    }
    return QString::fromLatin1(digest->result().toHex());
}

} // namespace quenlofar
