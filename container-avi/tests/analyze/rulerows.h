#pragma once

#include "judging.h"

#include <QTest>

namespace quenlofar {

/// Tables of tests in which each row is a file that keeps or breaks one rule.
namespace film {

/// The columns of such a table.
inline void addRuleColumns()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("findings");
}

/// A row: what Verdict::of says of the rule, empty where it is kept.
inline void addRuleRow(const char *name, const QByteArray &bytes, const char *rule, const char *findings)
{
    QTest::newRow(qPrintable(QString::fromLatin1(rule) + QStringLiteral(": ") + QString::fromLatin1(name)))
        << bytes << QString::fromLatin1(rule) << QString::fromLatin1(findings);
}

/// Holds the row's file against all rules.
inline void tryRuleRow()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, rule);
    QFETCH(QString, findings);
    const Verdict verdict(bytes);
    QVERIFY(verdict.isComplete);
    QCOMPARE(verdict.of(rule), findings);
    QCOMPARE(int(verdict.state(rule)), int(findings.isEmpty() ? RuleState::Passed : RuleState::Failed));
    QCOMPARE(verdict.problem(), QString());
}

} // namespace film

} // namespace quenlofar
