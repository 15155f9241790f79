#include "visitchunks.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenlofar {

namespace {

constexpr uint64_t headerSize = 8; // id and size
constexpr size_t listHeaderSize = 12; // and the form type
constexpr uint64_t indexEntrySize = 16;
constexpr uint64_t pieceSize = 64 * 1024;

class Visitor
{
public:
    Visitor(int descriptor, ChunkFloor *found) : m_descriptor(descriptor), m_found(*found) { }

    void visit(uint64_t begin, uint64_t end)
    {
        for (uint64_t at = begin; at + headerSize <= end;) {
            char header[listHeaderSize];
            if (::pread(m_descriptor, header, sizeof header, off_t(at)) < ssize_t(headerSize))
                return;
            ++m_found.chunks;
            uint32_t size = 0; // little-endian, as this machine is
            std::memcpy(&size, header + 4, sizeof size);
            const uint64_t data = at + headerSize;
            if (std::memcmp(header, "LIST", 4) == 0 || std::memcmp(header, "RIFF", 4) == 0)
                visit(at + listHeaderSize, std::min(data + size, end));
            else if (std::memcmp(header, "idx1", 4) == 0)
                readIndex(data, size);
            at = data + size + (size & 1);
        }
    }

private:
    void readIndex(uint64_t at, uint64_t rest)
    {
        m_found.indexEntries += rest / indexEntrySize;
        while (rest > 0) {
            const ssize_t came = ::pread(m_descriptor, m_piece.get(), size_t(std::min(rest, pieceSize)), off_t(at));
            if (came <= 0)
                return;
            at += uint64_t(came);
            rest -= uint64_t(came);
        }
    }

    const int m_descriptor;
    ChunkFloor &m_found;
    const std::unique_ptr<char[]> m_piece{new char[pieceSize]};
};

} // namespace

ChunkFloor visitChunks(const char *path)
{
    ChunkFloor found;
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        found.error = std::strerror(errno);
    else
        Visitor(descriptor, &found).visit(0, uint64_t(status.st_size));
    if (descriptor >= 0)
        ::close(descriptor);
    return found;
}

} // namespace quenlofar
