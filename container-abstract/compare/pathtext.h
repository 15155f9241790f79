#pragma once

#include <QString>
#include <QStringView>

#include <string>
#include <vector>

namespace quenlofar {

/// The text of an element path that grows and shrinks at its end, component by component.
class PathText
{
public:
    /// Appends a component; `name` is what pathName() made of the item's name. May throw std::bad_alloc; the text is
    /// then as it was.
    void push(QStringView name, quint64 number);
    size_t components() const { return m_ends.size(); }
    /// Takes away all components but the first `components`.
    void truncate(size_t components) noexcept;
    /// Null without components; valid until the next change.
    QStringView text() const;

private:
    std::u16string m_text;
    std::vector<size_t> m_ends; // of the components, in m_text
};

} // namespace quenlofar
