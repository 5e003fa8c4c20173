#!/usr/bin/env python3
# mutate_test - tools/mutate: which places it changes and which it leaves alone, each kind of change on a few lines, the order
# given by a seed, the choice of test programs, and what counts. Nothing is built here.
import argparse
import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "tools"))
from mutation_bench import (Bench, TestProgram as Program, ToolFault, Verdict, failed_tests,  # noqa: E402
                            programs_for, session_members)
from mutation_points import Mutant, constants_of, mutants_of, tokens_of  # noqa: E402

loader = importlib.machinery.SourceFileLoader("mutate", str(ROOT / "tools/mutate"))
mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
loader.exec_module(mutate)


def mutants(text: str, *more: str) -> list[Mutant]:
    return mutants_of("src/system/example.cpp", text, constants_of([text, *more]))


def changed(text: str, *more: str) -> set[str]:
    """The changed text of each mutant."""
    return {mutant.applied(text) for mutant in mutants(text, *more)}


def in_function(statements: str, signature: str = "void run(int a, int b)") -> str:
    return f"{signature} {{ start(); {statements} }}\n"


def of_statement(statements: str, signature: str = "void run(int a, int b)") -> set[str]:
    """The same for statements in a function, without the mutants of the function around them."""
    found = set()
    for mutant in mutants(in_function(statements, signature)):
        if mutant.start >= in_function(statements, signature).index(statements):
            found.add(mutant.applied(in_function(statements, signature))[len(signature) + 12:-3])
    return found


class LeftAlone(unittest.TestCase):
    def test_comments(self):
        self.assertEqual(changed("// a == b && true\n/* f(1);\n \"text\" */\n"), set())

    def test_a_comment_that_goes_on_behind_a_backslash(self):
        self.assertEqual(changed("// one \\\n a == b\n"), set())

    def test_preprocessor_lines(self):
        self.assertEqual(changed('#include "a.h"\n  #if A == 1\n#define B(x) \\\n  call(x, 1);\n#endif\n'), set())

    def test_attributes_and_static_assertions(self):
        self.assertEqual(changed('[[deprecated("old")]] extern int a;\nstatic_assert(sizeof(int) == 4, "n");\n'), set())

    def test_operators_inside_of_texts(self):
        self.assertEqual(of_statement('name = L"a == b && !c // d";'),
                         {';', 'name = L"a == x && !c // d";', 'name = L"";'})

    def test_angle_brackets_of_templates(self):
        self.assertNotIn("comparison", {mutant.kind for mutant in mutants(
            "std::vector<std::pair<int, int>> list;\ntemplate <class T>\nvoid f(T&& value);\n")})

    def test_declarations_are_no_statements(self):
        self.assertEqual(of_statement("const Log log(a); Text text; int c(b);"), set())

    def test_the_language_of_a_linkage(self):
        self.assertEqual(changed('extern "C" {\n}\n'), set())


class Kinds(unittest.TestCase):
    def test_comparisons(self):
        for text, others in (("==", ("!=",)), ("!=", ("==",)), ("<", ("<=", ">=")), (">=", (">", "<"))):
            self.assertEqual(of_statement(f"if (a {text} b) {{}}"), {f"if (a {other} b) {{}}" for other in others})

    def test_conditions(self):
        self.assertEqual(of_statement("if (a && !b) {}"), {"if (a || !b) {}", "if (a &&  b) {}"})
        self.assertEqual(of_statement("while (more(a)) {}"), {"while (!(more(a))) {}"})

    def test_a_condition_that_declares_is_not_negated(self):
        self.assertEqual(of_statement("if (const auto file = open(a)) {}"), set())
        self.assertEqual(of_statement("if (const auto file = open(a); file) {}"),
                         {"if (const auto file = open(a); !(file)) {}"})

    def test_arithmetic(self):
        self.assertEqual(of_statement("int c = a + b;"), {"int c = a - b;"})
        self.assertEqual(of_statement("++a;"), {"--a;", ";"})
        self.assertEqual(of_statement("a += b;"), {"a -= b;", ";"})

    def test_texts_that_are_put_together_are_not_subtracted(self):
        self.assertEqual(of_statement('std::wstring c = a + L"";'), {'std::wstring c = a + L"x";'})

    def test_numbers(self):
        for number, other in (("0", "1"), ("1", "0"), ("7", "8"), ("0x1F", "0x20"), ("10u", "11u"), ("0.5F", "1.5F"),
                              ("65'535", "65536")):
            self.assertEqual(of_statement(f"int c = {number};"), {f"int c = {other};"})

    def test_true_and_false(self):
        self.assertEqual(of_statement("bool c = true;"), {"bool c = false;"})

    def test_characters(self):
        self.assertEqual(of_statement(r"auto c = L'\\';"), {"auto c = L'/';"})
        self.assertEqual(of_statement("auto c = 'a';"), {"auto c = 'b';"})

    def test_named_constants_of_the_platform(self):
        self.assertEqual(of_statement("c = ERROR_SUCCESS; d = ERROR_ACCESS_DENIED; e = KEY_READ;"),
                         {"c = ERROR_ACCESS_DENIED; d = ERROR_ACCESS_DENIED; e = KEY_READ;",
                          "c = ERROR_SUCCESS; d = ERROR_SUCCESS; e = KEY_READ;",
                          "; d = ERROR_ACCESS_DENIED; e = KEY_READ;", "c = ERROR_SUCCESS; ; e = KEY_READ;",
                          "c = ERROR_SUCCESS; d = ERROR_ACCESS_DENIED; ;"})

    def test_own_constants_of_one_type(self):
        text = ('constexpr int kA = 1;\nconstexpr int kB = 2;\nconstexpr wchar_t kC[] = L"c";\n'
                + in_function("f(kA, kC);"))
        self.assertIn(text.replace("f(kA", "f(kB"), changed(text))
        self.assertNotIn("kC -> kA", {mutant.label for mutant in mutants(text)})

    def test_enumerators(self):
        header = "enum class Kind : int { File = 1, Key, Task };\n"
        text = in_function("act(Kind::Task);")
        self.assertIn(text.replace("Task", "File"), changed(text, header))

    def test_dropped_statements(self):
        for statement in ("::Sleep(1);", "list.push_back(a);", "names->clear();", "std::sort(a, b);", "a = b;",
                          "a |= b;", "get<int>(a).stop();", "out << a;", "run([&] { return a; });"):
            self.assertIn(";", of_statement(statement), statement)

    def test_a_dropped_statement_of_several_lines_keeps_the_lines(self):
        self.assertIn(";\n\n", of_statement("call(a,\n     b,\n     b);"))

    def test_early_returns_of_a_function(self):
        def first(signature: str) -> set[str]:
            text = f"{signature} {{ call(); }}\n"
            return {mutant.replacement for mutant in mutants(text) if mutant.kind == "early return"}
        self.assertEqual(first("void f()"), {" return;"})
        self.assertEqual(first("bool Box::f() const"), {" return true;", " return false;"})
        self.assertEqual(first("std::vector<int> f(int a)"), {" return {};"})
        self.assertEqual(first("Box::Box() : a_(1), b_{2}"), {" return;"})
        self.assertEqual(first("template <class T>\nstatic bool f(T t)"), {" return true;", " return false;"})
        self.assertEqual(first("const Box& f()"), set())

    def test_results(self):
        self.assertEqual(of_statement("return has(a);", "bool f(int a)"), {"return !(has(a));"})
        self.assertEqual(of_statement("return a == b;", "bool f(int a, int b)"), {"return a != b;"})
        self.assertEqual(of_statement("return name;", "Text f(Text name)"), {"return {};"})
        self.assertEqual(of_statement("return;"), {";"})

    def test_the_ways_out_of_a_loop(self):
        self.assertEqual(of_statement("for (;;) { continue; }"), {"for (;;) { break; }"})
        self.assertEqual(of_statement("for (;;) { break; }"), {"for (;;) { ; }"})
        self.assertIn(";", of_statement("throw Fault(a);"))

    def test_log_lines(self):
        found = mutants(in_function('LogDebug(L"Deleted: %s\\n", a);'))
        self.assertEqual({(mutant.kind, mutant.replacement) for mutant in found if mutant.kind == "log text"},
                         {("log text", "LogError"), ("log text", 'L"Deletex: %s\\n"')})
        self.assertIn(("dropped statement", ";"), {(mutant.kind, mutant.replacement) for mutant in found})

    def test_texts(self):
        self.assertEqual(of_statement(r'auto c = L"%s\n\\";'), {r'auto c = L"%s\n\\x";', 'auto c = L"";'})
        self.assertEqual(of_statement('auto c = "";'), {'auto c = "x";'})
        self.assertEqual(of_statement('auto c = R"(a"b)";'), {'auto c = R"(x"b)";', 'auto c = R"()";'})

    def test_tokens_know_their_kinds(self):
        self.assertEqual([(token.kind, token.text) for token in tokens_of('a->b("c", \'d\', 0x1F, L"e\\"f") <= ::g')],
                         [("name", "a"), ("mark", "->"), ("name", "b"), ("mark", "("), ("text", '"c"'), ("mark", ","),
                          ("char", "'d'"), ("mark", ","), ("number", "0x1F"), ("mark", ","), ("text", 'L"e\\"f"'),
                          ("mark", ")"), ("mark", "<="), ("mark", "::"), ("name", "g")])


class Keys(unittest.TestCase):
    def test_functions_are_named_with_their_class(self):
        text = ("namespace {\nbool f(int a) {\n  return a == 1;\n}\n}\n"
                "void Box::g() {\n  each([](int c) { return c == 2; });\n}\n")
        self.assertEqual({mutant.function for mutant in mutants(text)}, {"f", "Box::g"})

    def test_equal_lines_of_a_function_are_counted(self):
        found = mutants(in_function("\n stop();\n stop();\n"))
        self.assertEqual([mutant.label for mutant in found if mutant.source == "stop();"], ["dropped", "dropped #2"])

    def test_no_key_stands_for_two_mutants_of_the_sources(self):
        found = mutate.all_mutants(ROOT)
        self.assertGreater(len(found), 1000)
        self.assertEqual(len({mutant.key for mutant in found}), len(found))

    def test_code_elsewhere_changes_no_key(self):
        text = in_function("if (a == b) {}")
        moved = "int more(int c) {\n  return c + 1;\n}\n" + text
        self.assertLess({mutant.key for mutant in mutants(text)}, {mutant.key for mutant in mutants(moved)})


class Sample(unittest.TestCase):
    def order(self, seed: int, found: list[Mutant]) -> list[tuple[str, str, str, str]]:
        arguments = argparse.Namespace(file=None, match=None, again=None, seed=seed)
        return [mutant.key for mutant in mutate.selected(found, arguments)]

    def test_a_seed_gives_one_order(self):
        found = mutants(in_function("if (a == b && b < 1) { stop(); }"))
        self.assertEqual(self.order(5, found), self.order(5, list(reversed(found))))
        self.assertNotEqual(self.order(5, found), self.order(6, found))

    def test_other_code_does_not_change_the_order_of_the_rest(self):
        few = mutants(in_function("if (a == b && b < 1) { stop(); }"))
        more = mutants("bool other(int c) {\n  return c == 1;\n}\n" + in_function("if (a == b && b < 1) { stop(); }"))
        kept = {mutant.key for mutant in few}
        self.assertEqual([key for key in self.order(5, more) if key in kept], self.order(5, few))

    def test_files_can_be_picked(self):
        arguments = argparse.Namespace(file=["example.cpp"], match=None, again=None, seed=1)
        self.assertEqual(len(mutate.selected(mutants(in_function("a = b;")), arguments)), 3)
        arguments.file = ["other.cpp"]
        self.assertEqual(mutate.selected(mutants(in_function("a = b;")), arguments), [])


def program(folder: str, source: str, *includes: str) -> Program:
    return Program(source, folder, source, source, [], {}, "", 180, set(includes))


class Programs(unittest.TestCase):
    def test_those_of_the_concept_come_first_then_the_folder_then_the_rest(self):
        programs = [program("app", "main_test"), program("ui", "about_test", "system/registry.h"),
                    program("system", "services_test"), program("system", "keys_test", "system/registry.h"),
                    program("system", "registry_walk_test"), program("system", "registry_test")]
        self.assertEqual([(stage, found.name) for stage, found in programs_for("src/system/registry.cpp", programs)],
                         [("concept", "registry_test"), ("concept", "registry_walk_test"), ("concept", "keys_test"),
                          ("folder", "services_test"), ("elsewhere", "about_test"), ("elsewhere", "main_test")])

    def test_failed_tests_are_told_from_the_output(self):
        output = "[ RUN      ] A.One\n[       OK ] A.One (0 ms)\n[ RUN      ] A.Two\n[  FAILED  ] A.Two (1 ms)\n"
        self.assertEqual(failed_tests(output + "[  FAILED  ] A.Two\n"), ["A.Two"])

    def test_a_program_that_died_names_the_test_that_it_was_at(self):
        self.assertEqual(failed_tests("[ RUN      ] A.One\n[       OK ] A.One (0 ms)\n[ RUN      ] A.Two\n"), ["A.Two"])
        self.assertEqual(failed_tests("[ RUN      ] A.One\n[       OK ] A.One (0 ms)\n"), [])


class FakeBench:
    """Returns outcomes from a list, in the order of the mutants."""

    def __init__(self, outcomes: dict[Mutant, str]):
        self.outcomes, self.lock, self.work = outcomes, threading.Lock(), pathlib.Path("unused")
        self.judged: list[Mutant] = []

    def judge(self, mutant: Mutant, slot: pathlib.Path, stages: tuple[str, ...], every: bool) -> Verdict:
        with self.lock:
            self.judged.append(mutant)
        return Verdict(mutant, self.outcomes[mutant])


class Runs(unittest.TestCase):
    def judged(self, outcomes: list[str], count: int, jobs: int) -> list[str]:
        found = mutants(in_function("a = b; " * len(outcomes)))[:len(outcomes)]
        bench = FakeBench(dict(zip(found, outcomes)))
        run = mutate.Run(bench, found, count, jobs, ("concept",), False)
        self.assertEqual(len(list(run.results())), len(bench.judged))
        return [run.verdicts[place].outcome for place in sorted(run.verdicts)]

    def test_what_was_left_out_is_replaced(self):
        outcomes = ["noticed", "not compiled", "survived", "same code", "timeout", "noticed"]
        for jobs in (1, 2, 4):
            self.assertEqual(self.judged(outcomes, 3, jobs), outcomes[:5])

    def test_a_run_ends_with_its_mutants(self):
        self.assertEqual(self.judged(["noticed", "noticed"], 5, 2), ["noticed", "noticed"])

    def test_a_run_goes_on_with_earlier_verdicts_of_the_same_sources(self):
        found = mutants(in_function("a = b; c = b;"))[:3]
        arguments = argparse.Namespace(seed=1, elsewhere=False, machine=False)
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "run.json"
            self.assertEqual(mutate.read_verdicts(path, found, "digest"), {})
            path.write_text(mutate.as_json(arguments, [Verdict(found[0], "noticed", "concept", "p")], 0, "digest"))
            earlier = mutate.read_verdicts(path, found, "digest")
            with self.assertRaises(ToolFault):
                mutate.read_verdicts(path, found, "other")
        bench = FakeBench({found[1]: "survived", found[2]: "noticed"})
        run = mutate.Run(bench, found, 3, 1, ("concept",), False, earlier)
        self.assertEqual([verdict.outcome for verdict in run.results()], ["noticed", "survived", "noticed"])
        self.assertEqual(bench.judged, found[1:])

    def test_a_fault_of_the_tool_ends_the_run(self):
        found = mutants(in_function("a = b;"))
        run = mutate.Run(FakeBench({}), found, 2, 2, ("concept",), False)
        with self.assertRaises(KeyError):
            list(run.results())

    def test_explained_ones_count_as_far_as_the_sample_went(self):
        found = sorted(mutants(in_function("a = b; " * 6)), key=lambda mutant: mutant.rank(1))
        judged = found[:3] + found[5:]  # two are explained
        verdicts = [Verdict(mutant) for mutant in judged]
        self.assertEqual(mutate.passed_over(found, judged, verdicts[:3], 1), 0)
        self.assertEqual(mutate.passed_over(found, judged, verdicts[:4], 1), 2)
        self.assertEqual(mutate.passed_over(found, judged[:3], verdicts[:3], 1), len(found) - 3)

    def test_the_summary_counts_only_what_was_judged(self):
        found = mutants(in_function("a = b; " * 4))
        verdicts = [Verdict(found[0], "noticed", "concept"), Verdict(found[1], "timeout", "folder"),
                    Verdict(found[2], "survived"), Verdict(found[3], "not compiled")]
        lines = mutate.summary(verdicts, 5, 2, 60)
        self.assertEqual(lines[0], "3 mutants, 2 noticed (66.7 %), 1 survived")
        self.assertEqual(lines[1], "left out: 1 not compiled, 0 of the same code, 5 explained")
        self.assertEqual(lines[2], "noticed by concept: 1, folder: 1; by their time limit: 1")


class Processes(unittest.TestCase):
    def test_a_session_is_ended_with_the_process_groups_in_it(self):
        script = "trap 'exit 7' TERM; timeout 60 sleep 60; exit 8"
        process = subprocess.Popen(["bash", "-c", script], stderr=subprocess.DEVNULL, start_new_session=True)
        deadline = time.monotonic() + 30
        while len(session_members(process.pid)) < 3 and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(len(session_members(process.pid)), 3)
        Bench.end(process)
        self.assertEqual(process.returncode, 7)
        self.assertEqual(session_members(process.pid), [])


class Equivalent(unittest.TestCase):
    def read(self, text: str) -> dict[tuple[str, ...], str]:
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "equivalent.tsv"
            path.write_text(text)
            return mutate.read_equivalent(path)

    def test_a_line_is_file_function_line_change_and_reason(self):
        self.assertEqual(self.read("# a note\n\na.cpp\tf\tx = 1;\t1 -> 0\tnobody reads it\n"),
                         {("a.cpp", "f", "x = 1;", "1 -> 0"): "nobody reads it"})

    def test_a_line_without_a_reason_is_refused(self):
        for line in ("a.cpp\tf\tx = 1;\t1 -> 0\n", "a.cpp\tf\tx = 1;\t1 -> 0\t \n", "a.cpp f x = 1; 1 -> 0 reason\n"):
            with self.assertRaises(ToolFault):
                self.read(line)

    def test_the_list_of_the_repository_can_be_read(self):
        self.assertTrue(mutate.EQUIVALENT.exists())
        mutate.read_equivalent(mutate.EQUIVALENT)


if __name__ == "__main__":
    unittest.main()
