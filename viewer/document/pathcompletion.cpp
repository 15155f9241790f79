#include "pathcompletion.h"

#include "elementpath.h"

namespace quenlofar {

namespace {

constexpr int mostNames = 1000; // that are looked at

/// The numbers below `count` that begin with the digits, few of them: the number itself and those of one digit more.
std::vector<quint64> numbersFrom(const QString &digits, quint64 count)
{
    std::vector<quint64> numbers;
    bool isNumber = true;
    const quint64 first = digits.isEmpty() ? 0 : digits.toULongLong(&isNumber);
    if (!isNumber || first >= count)
        return numbers;
    if (!digits.isEmpty())
        numbers.push_back(first);
    const quint64 begin = digits.isEmpty() ? 0 : first * 10;
    for (quint64 number = begin; number < begin + 10 && number < count; ++number) {
        if (numbers.empty() || numbers.front() != number)
            numbers.push_back(number);
    }
    return numbers;
}

} // namespace

QStringList pathCompletions(const GrowingTree &tree, const QString &text, int most)
{
    QStringList completions;
    const int slash = int(text.lastIndexOf(QLatin1Char('/')));
    const QString front = text.left(slash + 1);
    const QString begun = text.mid(slash + 1);
    TreeItem node = GrowingTree::root();
    if (slash >= 0) {
        ElementPath path;
        QString error;
        if (!parseElementPath(text.left(slash), &path, &error))
            return completions;
        node = tree.find(path);
        if (node == GrowingTree::root())
            return completions;
    }
    if (node != GrowingTree::root() && !tree.isNode(node))
        return completions;
    const int bracket = int(begun.indexOf(QLatin1Char('[')));
    const QStringList names = tree.childNames(node, mostNames);
    for (const QString &name : names) {
        if (int(completions.size()) >= most)
            break;
        const QString written = escapedPathName(name);
        if (bracket < 0) {
            if (written.startsWith(begun, Qt::CaseInsensitive))
                completions.append(front + written);
        } else if (written == begun.left(bracket)) {
            for (const quint64 number : numbersFrom(begun.mid(bracket + 1), tree.countOf(node, name)))
                completions.append(front + written + QStringLiteral("[%1]").arg(number));
        }
    }
    return completions;
}

} // namespace quenlofar
