"""docs/batch.md: its conditions find every file that has a problem, whatever its status says."""

import json
import os
import pathlib
import re
import sqlite3
import subprocess
import unittest

from support import DOCS, Case, documents, run

PAGE = (DOCS / "batch.md").read_text()
PLAIN_PLUGIN = os.path.dirname(os.environ["QUENLOFAR_PLAIN_PLUGIN"])


class BatchPage(Case):
    def summaries(self):
        """The documents of files with one problem each and of a sound one, and the names of the former."""
        sound = self.sample()
        # The limit is one that the AVI file reaches, the others do not.
        troubled = {"limit": self.path("limit.avi", pathlib.Path(os.fsdecode(self.sample("spliced-garbage"))).read_bytes()),
                    "thrown": self.path("thrown.plain", b"PLAIN\x01\x7e"),
                    "cut": self.sample("spliced-truncated"),
                    "text": self.path("text.avi", b"no film at all"),
                    "missing": self.path("missing.avi")}
        output = b"".join(
            run("summary", "--format", "json", "--plugin-dir", PLAIN_PLUGIN, *arguments, path).stdout
            for arguments, path in [([], sound), (["--max-items", "9"], troubled["limit"]), ([], troubled["thrown"]),
                                    ([], troubled["cut"]), ([], troubled["text"]), ([], troubled["missing"])])
        self.assertEqual([document["status"] for document in documents(output)], [0, 0, 0, 5, 3, 1])
        return output, [name.decode() for name in troubled.values()]

    def test_jq(self):
        output, troubled = self.summaries()
        self.path("films.jsonl", output)
        command, = re.findall(r"^jq .*$", PAGE, re.MULTILINE)
        found = subprocess.run(command, shell=True, cwd=self.directory, stdout=subprocess.PIPE, check=True).stdout
        self.assertEqual([line.split("\t") for line in found.decode().splitlines()],
                         [[name, *rest] for name, rest in zip(troubled, [["0", "", "items"], ["0", "parser", ""],
                                                                         ["5", "", ""], ["3", "", ""],
                                                                         ["1", "open", ""]])])

    def test_spark(self):
        output, troubled = self.summaries()
        condition, = re.findall(r"\.where\(\s*\"(.*)\"\s*\)", PAGE)
        database = sqlite3.connect(":memory:")
        self.addCleanup(database.close)
        database.execute("create table films (file text, status integer, error text, `limit` text)")
        for document in documents(output):
            error = json.dumps(document["error"]) if "error" in document else None
            database.execute("insert into films values (?, ?, ?, ?)",
                             (document["file"], document["status"], error, document.get("limit")))
        found = database.execute(f"select file from films where {condition}")
        self.assertEqual([file for file, in found], troubled)


class Text(Case):
    def test_walked_to_the_end_is_said_of_clean_walks_alone(self):
        thrown = self.path("thrown.plain", b"PLAIN\x01\x7e")
        for command in ("tree", "summary", "streams", "frames", "coverage"):
            for arguments, words in [(["--plugin-dir", PLAIN_PLUGIN, thrown], b"the parser failed"),
                                     (["--max-items", "9", self.sample()], b"stopped at byte ")]:
                with self.subTest(command=command, words=words):
                    result = run(command, *arguments)
                    self.assertNotEqual(result.returncode, 0)
                    self.assertIn(words, result.stdout)
                    self.assertNotIn(b"walked to the end", result.stdout)
                    self.assertNotIn(b"status 0", result.stdout)


if __name__ == "__main__":
    unittest.main()
