#include "pagecache.h"

#include <utility>

namespace quenlofar {

const Page *PageCache::page(quint64 number)
{
    const auto found = m_byNumber.find(number);
    if (found == m_byNumber.end())
        return nullptr;
    m_pages.splice(m_pages.begin(), m_pages, found->second);
    return &m_pages.front();
}

void PageCache::insert(Page page)
{
    const quint64 number = page.number;
    const auto found = m_byNumber.find(number);
    if (found != m_byNumber.end()) {
        *found->second = std::move(page);
        return;
    }
    m_pages.push_front(std::move(page));
    m_byNumber[number] = m_pages.begin();
    if (m_pages.size() > mostPages) {
        m_byNumber.erase(m_pages.back().number);
        m_pages.pop_back();
    }
}

void PageCache::clear()
{
    m_pages.clear();
    m_byNumber.clear();
}

} // namespace quenlofar
