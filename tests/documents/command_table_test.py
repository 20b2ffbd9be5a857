"""Every command, as the tool's own table describes it: a command that is added is tested here without being named."""

import json
import os
import re
import subprocess
import unittest

from tool import DOCUMENT_FAILED, DONE, SAMPLES, SAMPLES_FOLDER, TOOL, WRONG_USAGE, ToolTest, command_names, \
    command_table, document_use, help_of

README = (SAMPLES_FOLDER.parent / "README.md").read_text(encoding="utf-8")


class Table(ToolTest):
    @staticmethod
    def commands(*uses):
        return [name for name in command_names() if not uses or document_use(name) in uses]

    def test_help_says_all_there_is(self):
        for name in self.commands():
            with self.subTest(command=name):
                command = command_table()[name]
                self.assertEqual(sorted(self.tool("help", name).stdout.split()), sorted(help_of(name).split()))
                said = " ".join(help_of(name).split())
                self.assertTrue(said.startswith(command["summary"]), said[:100])
                for option in command["options"]:
                    for part in [*option["names"], *option["choices"], option["help"], *option["needs"]]:
                        self.assertIn(" ".join(part.split()), said)
                for status, meaning in command["exit"].items():
                    self.assertIn(f" {status} {meaning}", said)
    
    def test_wrong_usage_is_refused_with_a_suggestion(self):
        for name in self.commands():
            with self.subTest(command=name):
                required = list(self.required_arguments(name, self.document))
                refused = self.tool(name, *required, "--wrnog", status=WRONG_USAGE)
                self.assertIn(f'lumvex {name}: there is no option "--wrnog"', refused.stderr)
                refused = self.tool(name, *required, "--qiet", status=WRONG_USAGE)
                self.assertIn('did you mean "--quiet"?', refused.stderr)
                if len(name) > 3:
                    self.assertIn(f'did you mean "{name}"?', self.tool(name[1] + name[0] + name[2:], status=WRONG_USAGE).stderr)
                for at in range(0, len(required), 2 if required[:1] and str(required[0]).startswith("-") else 1):
                    self.assertIn(f"lumvex help {name}", self.tool(name, *required[:at], status=WRONG_USAGE).stderr)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_locked_document_is_refused_and_waited_for(self):
        self.import_samples()
        holder = subprocess.Popen(["/usr/bin/python3", "-c", HOLD, self.document], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        self.addCleanup(holder.wait)
        self.addCleanup(holder.kill)
        holder.stdout.readline()
        before = self.document.read_bytes()
        for name in self.commands("reads", "changes", "makes"):
            with self.subTest(command=name):
                required = self.required_arguments(name, self.document)
                refused = self.tool(name, *required, "--wait", "0.05", status=DOCUMENT_FAILED)
                self.assertIn("another program has the file open (status 0x80030020)", refused.stderr)
        self.assertEqual(self.document.read_bytes(), before)
        waiting = subprocess.Popen([TOOL, "tree", self.document, "--wait", "200"], stdout=subprocess.PIPE)
        self.assertIsNone(waiting.poll())
        holder.communicate()
        self.assertIn(b"woofer", waiting.communicate(timeout=300)[0])
        self.assertEqual(waiting.returncode, DONE)

    @unittest.skipIf(os.geteuid() == 0 and not os.path.exists("/usr/bin/setpriv"), "root may write everything")
    def test_a_read_only_document_is_not_changed(self):
        self.import_samples()
        self.document.chmod(0o444)
        self.folder.chmod(0o755)
        before = self.document.read_bytes()
        as_nobody = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.geteuid() == 0 else []
        for name in self.commands("changes", "makes"):
            with self.subTest(command=name):
                required = [os.fspath(each) for each in self.required_arguments(name, self.document)]
                done = subprocess.run([*as_nobody, TOOL, name, *required], cwd=self.folder, capture_output=True, text=True)
                self.assertEqual(done.returncode, DOCUMENT_FAILED, done.stderr)
                self.assertIn("permission denied (status 0x80030005)", done.stderr)
        self.assertEqual(self.document.read_bytes(), before)
        # What cannot be searched is said, and the rest is.
        (self.folder / "closed").mkdir(mode=0o000)
        for line in [["find", "woofer", "."], ["check", "."], ["info", "."]]:
            done = subprocess.run([*as_nobody, TOOL, *line], cwd=self.folder, capture_output=True, text=True)
            self.assertEqual(done.returncode, DOCUMENT_FAILED, done.stderr)
            self.assertIn("./closed: Permission denied; what is in the folder is left out\n", done.stderr)
            self.assertIn("project.lvp", done.stdout)

    def test_a_dry_run_changes_nothing(self):
        self.import_samples()
        files = sorted(self.folder.iterdir())
        before = self.document.read_bytes()
        for name in self.commands("changes", "makes"):
            with self.subTest(command=name):
                done = subprocess.run([TOOL, name, *self.required_arguments(name, self.document), "--dry-run"],
                                      cwd=self.folder, capture_output=True, text=True)
                self.assertIn(done.returncode, (0, 1), done.stderr)  # 1: the arguments mean nothing to it
                self.assertEqual(self.document.read_bytes(), before)
                self.assertEqual(sorted(self.folder.iterdir()), files)
        self.assertIn("new.lvp: not created, as this is a dry run", self.tool("import", "-n", "new.lvp", SAMPLES[0]).stderr)
        self.assertEqual(sorted(self.folder.iterdir()), files)

    def test_json_can_be_read(self):
        self.import_samples()
        for name in self.commands():
            with self.subTest(command=name):
                if "--json" in [each for option in command_table()[name]["options"] for each in option["names"]]:
                    done = subprocess.run([TOOL, name, *self.required_arguments(name, self.document), "--json"],
                                          cwd=self.folder, capture_output=True, text=True)
                    self.assertIn(done.returncode, (0, 1), done.stderr)
                    json.loads(done.stdout)
        self.assertIn("--json", help_of("info"))

    def test_the_readme_lists_every_command(self):
        table = README.partition("| command | what it does |\n")[2].partition("\n\n")[0]
        listed = [line.split("`")[1] for line in table.splitlines() if line.startswith("| `")]
        self.assertEqual(listed, command_names())


# Has a document open so that nobody else may, until its standard input ends: the lock that lumvex takes.
HOLD = """
import fcntl, os, struct, sys
file = os.open(sys.argv[1], os.O_RDWR)
F_OFD_SETLK = 37
for byte in (1 << 62, (1 << 62) + 1):
    fcntl.fcntl(file, F_OFD_SETLK, struct.pack("hhqqi4x", fcntl.F_WRLCK, os.SEEK_SET, byte, 1, 0))
print(flush=True)
sys.stdin.read()
"""


class Manual(ToolTest):
    def printed(self, form, name):
        return self.file(name, self.tool("help", "--as", form).stdout)

    def test_the_manual_page(self):
        page = self.printed("man", "lumvex.1")
        for command in [["mandoc", "-Tlint", "-Wwarning", page], ["man", "--warnings", "-EUTF-8", "-l", "-Tutf8", "-Z", page]]:
            if command[0] == "man":
                done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
            else:
                done = subprocess.run(command, capture_output=True, text=True)
                self.assertEqual([line for line in done.stdout.splitlines() if "missing date" not in line], [])
        shown = subprocess.run(["mandoc", "-Tutf8", page], capture_output=True, text=True, check=True).stdout
        said = " ".join(re.sub(".\b", "", shown).split())  # bold letters are printed twice
        for name, command in command_table().items():
            for words in [f"lumvex {name} ", *(option["help"] for option in command["options"])]:
                self.assertIn(" ".join(words.split()), said, name)

    def bash(self, *words):
        """What bash offers for the last of the words."""
        script = self.printed("bash", "lumvex.bash")
        ask = ('source "$0"; COMP_WORDS=(lumvex "$@"); COMP_CWORD=$#; _lumvex; printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-uc", ask, script, *words], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_bash_completes(self):
        self.assertEqual(self.bash("cross"), ["crossover"])
        self.assertEqual(set(self.bash("")), {*command_names(), "--help", "--version"})
        self.assertEqual(set(self.bash("help", "")), set(command_names()))
        for name, command in command_table().items():
            options = {each for option in command["options"] for each in option["names"] if each.startswith("-")}
            self.assertEqual(set(self.bash(name, "-")), {*options, "-h", "--help"}, name)
            for option in command["options"]:
                if option["choices"] and option["names"][-1].startswith("-"):
                    self.assertEqual(self.bash(name, "x", option["names"][-1], ""), option["choices"])
            if name != "help":
                self.assertEqual(self.bash(name, "x"), [], "files, by the shell itself")

    def test_zsh_completes(self):
        script = self.printed("zsh", "_lumvex")
        ask = f"""
zmodload zsh/zpty
zpty -b shell zsh -f -i
zpty -w shell 'PS1=; autoload -U compinit; compinit -u -D; source {script}; print ready-$((1 + 1))'
zpty -r shell said '*ready-2*'
zpty -w -n shell $'lumvex cross\\t-\\nlumvex check --wai\\t-\\nlumvex help --as z\\t-\\n'
zpty -w shell 'print end-$((1 + 1))'
zpty -r shell said '*end-2*'
print -r -- $said
zpty -d shell
"""
        done = subprocess.run(["zsh", "-fc", ask], capture_output=True, text=True, timeout=300,
                              env={**os.environ, "TERM": "dumb", "HOME": os.fspath(self.folder)})
        for completed in ["lumvex crossover ", "lumvex check --wait ", "lumvex help --as zsh "]:
            self.assertIn(completed, done.stdout, done.stderr)


if __name__ == "__main__":
    unittest.main()
