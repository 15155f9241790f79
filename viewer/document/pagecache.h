#pragma once

#include <QByteArray>
#include <QString>

#include <list>
#include <unordered_map>
#include <vector>

namespace quenlofar {

/// What is known of a byte of the file.
enum class ByteState : quint8 {
    Known, ///< it was read
    Awaited, ///< it is being read
    Failed, ///< it could not be read: an error, or the file has become shorter
    Outside, ///< the file has no such byte
};

/// A stretch of a file as it was read.
struct Page
{
    quint64 number = 0; ///< it begins at the byte number * PageCache::pageSize
    QByteArray bytes; ///< fewer than the file had there when it was opened: the rest could not be read
    QString error; ///< why; null where all bytes came
};

/// The pages of a file that were read last, for one thread. Who fills it reads elsewhere.
class PageCache
{
public:
    static constexpr int pageSize = 16 * 1024; ///< bytes of a page
    static constexpr size_t mostPages = 256; ///< pages that are kept; those that were looked at longest ago go

    /// The page, or null where it has not come; looking at it keeps it.
    const Page *page(quint64 number);
    /// A page has come.
    void insert(Page page);
    /// Forgets all pages.
    void clear();

private:
    using Order = std::list<Page>;
    Order m_pages; // those that were looked at last come first
    std::unordered_map<quint64, Order::iterator> m_byNumber;
};

} // namespace quenlofar
