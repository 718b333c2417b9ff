"""The examples of the host guide and the README: the Python ones run, the
C and C++ ones are quoted from the programs the install test builds."""
from __future__ import annotations

import doctest
import os
import re
import unittest

from support import SOURCE_DIR, reset_library

GUIDE = SOURCE_DIR / "docs" / "host-guide.md"
README = SOURCE_DIR / "README.md"
CONSUMER = SOURCE_DIR / "examples" / "hosts"


def enter_source_dir(test: doctest.DocTest) -> None:
    """The examples name files relative to the top directory."""
    reset_library()
    test.globs["previous_dir"] = os.getcwd()
    os.chdir(SOURCE_DIR)


def leave_source_dir(test: doctest.DocTest) -> None:
    os.chdir(test.globs["previous_dir"])
    reset_library()


def load_tests(loader: unittest.TestLoader, tests: unittest.TestSuite,
               pattern: str | None) -> unittest.TestSuite:
    tests.addTests(doctest.DocFileSuite(str(GUIDE), str(README), module_relative=False,
                                        setUp=enter_source_dir, tearDown=leave_source_dir))
    return tests


class QuotedSourcesTest(unittest.TestCase):
    def test_c_and_cpp_blocks_are_quoted_from_the_built_programs(self) -> None:
        guide = GUIDE.read_text()
        for language, program in (("c", "host_example.c"), ("cpp", "host_example.cpp")):
            source = (CONSUMER / program).read_text()
            blocks = re.findall(rf"```{language}\n(.*?)```", guide, re.S)
            self.assertTrue(blocks, f"the guide has no {language} example")
            for block in blocks:
                self.assertIn(block, source)
