#!/usr/bin/env python3
"""Compares the completions with the program's options: calls bash's function for every option, reads
the specifications of zsh's, and presses Tab in both shells.

usage: completion_check.py <option table program> <folder of the completions>
"""

import os
import pty
import re
import select
import subprocess
import tempfile
import time
import unittest

import command_line

# Prints "<words before the current one> -> <suggestions>" for the current word "-", alone and after
# each of the arguments.
ASK_BASH = r"""
source "$1"
shift
ask() {
    COMP_WORDS=(quorvel "$@")
    COMP_CWORD=$#
    _quorvel
    printf '%s ->' "${*:1:$#-1}"
    printf ' %s' "${COMPREPLY[@]}"
    printf '\n'
}
ask -
for word; do
    ask "$word" -
done
"""

# Prints the specifications that the function passes to zsh, one per line.
ASK_ZSH = r"""
_arguments() { print -rl -- "$@" }
source $1
"""


def has_terminals():
    """Returns whether a pseudo terminal can be opened, by opening one."""
    try:
        for descriptor in pty.openpty():
            os.close(descriptor)
    except OSError:
        return False
    return True


needs_terminal = unittest.skipUnless(has_terminals(), "this machine has no pseudo terminals")

# The key that prints the line as it is now, in double brackets: the shells list suggestions without
# inserting them, so what they print does not show what was inserted.
SHOW_LINE = "\x18"
SHOW_IN_BASH = r"""bind -x '"\C-x": echo "[[$READLINE_LINE]]"'"""
SHOW_IN_ZSH = r"""show_line() { print -r -- "[[$BUFFER]]" }; zle -N show_line; bindkey '^X' show_line"""


def shell_environment(folder):
    environment = {name: os.environ[name] for name in ("PATH",) if name in os.environ}
    environment.update(HOME=folder, TERM="dumb", LC_ALL="C.UTF-8", PS1="> ", HISTFILE="/dev/null")
    return environment


def typed_in(command, set_up, keys, ending="]]"):
    """Returns what an interactive shell prints after `set_up` when `keys` are typed, up to `ending`."""
    with tempfile.TemporaryDirectory() as folder:
        for name in ("image.dd", "Other.dd"):
            open(os.path.join(folder, name), "w").close()
        os.mkdir(os.path.join(folder, "images"))
        pid, terminal = pty.fork()
        if pid == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, shell_environment(folder))
        try:
            shown_until(terminal, "> ")
            os.write(terminal, (set_up + "; echo rea''dy\n").encode())
            shown_until(terminal, "\nready\n> ")
            for key in keys:  # one by one: a shell that is still completing may discard the next
                os.write(terminal, key.encode())
                time.sleep(0.05)
            return shown_until(terminal, ending)
        finally:
            os.close(terminal)
            os.waitpid(pid, 0)


def line_in(shown):
    """Returns the command line that SHOW_LINE printed."""
    return shown.rpartition("[[")[2].partition("]]")[0]


# Options in the order of the lists: everyday ones, others, one without effect.
EVERYDAY = ["-image", "-offset", "-level", "-alldates", "-base10", "-drivenum", "-zlibex"]


def offered_in(shown, wanted):
    """Returns those of the `wanted` options at the starts of the lines of a list, in its order."""
    words = re.findall(r"^-\w+", shown.replace("\r", ""), re.MULTILINE)
    return [word for word in words if word in wanted]


def shown_until(terminal, ending, seconds=60):
    shown = ""
    deadline = time.monotonic() + seconds
    while ending not in shown.replace("\r", ""):
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([terminal], [], [], left)[0]:
            raise AssertionError(f"{ending!r} was not printed, but {shown!r}")
        shown += os.read(terminal, 4096).decode(errors="replace")
    return shown


class Bash(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.words = {word: form for word, form in command_line.words_of(OPTIONS.table).items()
                     if word.startswith("-")}
        cls.file = os.path.join(OPTIONS.folder, "quorvel.bash")
        cls.offers = cls.ask(list(cls.words))

    @classmethod
    def ask(cls, before):
        with tempfile.TemporaryDirectory() as empty:
            run = subprocess.run(["bash", "--norc", "-c", ASK_BASH, "bash", cls.file] + before,
                                 cwd=empty, check=True, stdout=subprocess.PIPE)
        offers = {}
        for line in run.stdout.decode().splitlines():
            word, _, offered = line.partition(" ->")
            offers[word] = offered.split()
        return offers

    def test_offers_each_option_of_the_program_once(self):
        self.assertEqual(sorted(self.offers[""]), sorted(self.words))

    def test_offers_options_after_a_flag_and_none_after_an_option_with_a_value(self):
        for word, form in self.words.items():
            expected = sorted(self.words) if form == "flag" else []
            self.assertEqual(sorted(self.offers[word]), expected, word)

    def test_knows_options_in_any_case(self):
        self.assertEqual(self.ask(["-IMAGE"])["-IMAGE"], [])

    def line_after(self, keys):
        """Returns the command line after the keys."""
        shown = typed_in(["bash", "--norc", "--noprofile", "-i"],
                         f"source '{self.file}'; {SHOW_IN_BASH}", keys + SHOW_LINE)
        return line_in(shown)

    @needs_terminal
    def test_tab_completes_an_option(self):
        self.assertEqual(self.line_after("quorvel -IMA\t"), "quorvel -image ")
        self.assertEqual(self.line_after("quorvel -lev\t"), "quorvel -level ")

    @needs_terminal
    def test_tab_completes_an_image_and_offers_only_folders_for_results(self):
        self.assertEqual(self.line_after("quorvel -image image.\t"), "quorvel -image image.dd ")
        self.assertEqual(self.line_after("quorvel -out im\t"), "quorvel -out images/")

    @needs_terminal
    def test_lists_everyday_options_first(self):
        shown = typed_in(["bash", "--norc", "--noprofile", "-i"],
                         f"source '{self.file}'; bind 'set page-completions off'; "
                         "bind 'set completion-display-width 0'",  # one option per line
                         "quorvel -\t\t", "-zlibex")
        self.assertEqual(offered_in(shown, EVERYDAY), EVERYDAY)


class Zsh(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.words = {word: form for word, form in command_line.words_of(OPTIONS.table).items()
                     if word.startswith("-")}
        cls.file = os.path.join(OPTIONS.folder, "_quorvel")
        run = subprocess.run(["zsh", "-f", "-c", ASK_ZSH, "zsh", cls.file], check=True,
                             stdout=subprocess.PIPE)
        cls.descriptions = {}
        for line in run.stdout.decode().splitlines():
            if "[" not in line:
                continue
            head, _, tail = line.partition("[")
            cls.descriptions.setdefault(head.lstrip("*"), []).append(
                (head.startswith("*"), tail.partition("]")[2]))

    def test_has_each_option_of_the_program_once(self):
        self.assertEqual(sorted(self.descriptions), sorted(self.words))
        self.assertEqual([word for word, all_of_it in self.descriptions.items()
                          if len(all_of_it) != 1], [])

    def test_knows_which_options_have_a_value_and_may_be_repeated(self):
        forms = {}
        for word, [(repeated, value)] in self.descriptions.items():
            forms[word] = "values" if repeated else "value" if value.startswith(":") else "flag"
            self.assertEqual(value.startswith(":"), forms[word] != "flag", word)
        self.assertEqual(forms, self.words)

    @staticmethod
    def press(keys, ending="]]"):
        return typed_in(["zsh", "-f", "-i", "+o", "PROMPT_SP"],
                        f"fpath=('{OPTIONS.folder}' $fpath); autoload -Uz compinit; compinit -u -D; "
                        f"LISTMAX=1000; stty rows 200; {SHOW_IN_ZSH}", keys, ending)

    def line_after(self, keys):
        """Returns the command line after the keys."""
        return line_in(self.press(keys + SHOW_LINE))

    @needs_terminal
    def test_tab_completes_an_option(self):
        self.assertEqual(self.line_after("quorvel -IMA\t"), "quorvel -image ")
        self.assertEqual(self.line_after("quorvel -lev\t"), "quorvel -level ")

    @needs_terminal
    def test_tab_completes_an_option_after_others(self):
        self.assertEqual(self.line_after("quorvel -image image.dd -lev\t"),
                         "quorvel -image image.dd -level ")

    @needs_terminal
    def test_tab_completes_a_value(self):
        self.assertEqual(self.line_after("quorvel -dateformat y\t"), "quorvel -dateformat yyyy-mm-dd ")
        self.assertEqual(self.line_after("quorvel -image image.\t"), "quorvel -image image.dd ")
        self.assertEqual(self.line_after("quorvel -out im\t"), "quorvel -out images/")

    @needs_terminal
    def test_lists_everyday_options_first(self):
        self.assertEqual(offered_in(self.press("quorvel -\t", "-zlibex"), EVERYDAY), EVERYDAY)


if __name__ == "__main__":
    OPTIONS = command_line.parse(["table", "folder"])
    command_line.need("bash", "zsh")
    command_line.run_checks()
