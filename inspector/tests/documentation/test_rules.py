"""docs/avi-rules.md says what the rule tables say, and every rule says what it has to."""

import pathlib
import sys
import unittest

from support import DOCS, PROGRAM, documents, run

sys.path.insert(0, str(DOCS.parent / "tools"))
import ruledocs # noqa: E402: it stands with the tools


class Rules(unittest.TestCase):
    maxDiff = None

    def test_the_page(self):
        self.assertEqual((DOCS / "avi-rules.md").read_text(), ruledocs.page(PROGRAM), "./dev rules --accept writes it")

    def test_every_rule_is_complete(self):
        listed, = documents(run("check", "--list-rules", "--format", "json").stdout)
        names = [rule["rule"] for rule in listed["rules"]]
        self.assertEqual(len(names), len(set(names)))
        for name in names:
            explained, = documents(run("check", "--explain", name, "--format", "json").stdout)
            rule, = explained["rules"]
            for key in ("title", "reason", "affected", "advice", "source"):
                self.assertTrue(rule[key].strip(), f"{name}: {key}")
            self.assertFalse(rule["title"].endswith("."), name)


if __name__ == "__main__":
    unittest.main()
