"""The hook scripts as the agents run them: in every common shell, with every common awk, and with nothing else on the
PATH than a handful of POSIX tools."""
import functools
import json
import os
import shutil
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from contextlib import suppress
from pathlib import Path

from driver.home import RECORDINGS, Home, run

SCRIPTS = Path(__file__).resolve().parents[2] / 'resources/hooks'
COMBINATIONS = [(shell, awk) for shell in ('dash', 'bash --posix', 'busybox sh')
                for awk in ('mawk', 'gawk', 'busybox', 'original-awk')]
INPUTS = ['tool_input.' + name for name in 'command file_path path pattern url description prompt'.split()]
NAMES = ['session_id', 'hook_event_name', 'cwd', 'tool_name', 'prompt', 'assistant', *INPUTS]
PAYLOADS = [
    '{\r\n\t"session_id" : "s",\r\n "x": [ 1, -2.5e+3, null, false ]\r\n}\r\n', '{"tavvel_ts":1,"cwd":""}',
    # The same names deeper down.
    '{"tool_response":{"cwd":"no","tool_input":{"url":"no"}},"x":[{"cwd":"no"}]}',
    '{"tool_input":{"deep":{"path":"no"},"list":[{"url":"no"}],"url":"u","old":"no","command":1,"path":{"a":"no"}}}',
    # Quotes, brackets, escapes, text beyond ASCII, half a character.
    r'{"prompt":"{\"a\":[\\","x":"\\\"}","assistant":"\\\\\""}', r'{"\u0063w\u0064":"/a","\\u0063wd":"no"}',
    r'{"prompt":"\ud83d","assistant":"你好 \u00e9"}', f'{{"x":{"[" * 900}{"]" * 900},"cwd":"/a"}}',
    # The last of equal names counts; what is no text is left out.
    '{"cwd":"no","tool_input":{"url":"no"},"cwd":"/b","tool_name":"no","tool_name":1}',
    '{"tool_input":{"url":"no"},"tool_input":{"path":"","command":"no","command":1}}',
    '{"session_id":5,"prompt":null,"tool_input":["command"],"cwd":["/a"]}',
    # What the agent tells itself.
    r'{"prompt":"<task-notification>\nx","cwd":"/a"}', r'{"prompt":"\u003Ctask\u002dnotification\u003e"}',
    # No JSON object, or not one alone.
    '', '[{"cwd":"/a"}]', '"cwd"', '{"cwd":"/a', '{"cwd":"/a","x":1', '{"cwd":"/a"}{}', '{"cwd":"/a"}}',
    '{"x":[},"cwd":"/a"]}', '{"cwd" "/a"}', '{"cwd":"/a""x":1}', '{"cwd":"/a",}', '{"cwd":"/a","x":01}',
    '{"cwd":"/a","x":nan}', '{"cwd":"/a","x":-inf}', '{"cwd":"/a":"x"}', '{"cwd":"/a",1}', '{"cwd":"/a"]',
    '{"cwd":"/a\nb"}', r'{"cwd":"/a\x"}', r'{"cwd":"/a\u12"}',
    # Bytes that are no text; megabytes, and what would make a backtracking search take for ever.
    *(f'{{"prompt":"{piece * 5000}","cwd":"{piece * 5000}"}}' for piece in ('\udc80', '\udcff\udcc3', '\udcf0\udc9f')),
    f'{{"cwd":"{"/folder" * 3000}","prompt":"{"print(1)" * 200_000}","x":[{"1, " * 20_000}1]}}',
    r'{"x":"B \"","cwd":"/B \"/shop"}'.replace('B', '\\' * 500_000),
]
# Too long in every text. Each begins with another number of letters: the cut falls on every place in a character.
for character in ('x', 'é', '中', '🎉', r'\u4e2d', r'\ud83c\udf89', r'\"', r'\\', r'\/'):
    texts = [f'"{name.removeprefix("tool_input.")}":"{"a" * (number % 12)}{character * 5000}"'
             for number, name in enumerate(NAMES)]
    PAYLOADS.append(f'{{{",".join(texts[:6])},"tool_input":{{{",".join(texts[6:])}}}}}')
TURN = {'type': 'agent-turn-complete', 'thread-id': 't', 'turn-id': 'no', 'cwd': '/a', 'client': 'c',
        'input-messages': ['first', 'the "last"\n%s'], 'last-assistant-message': 'Done \\n'}
TITLE = 'Generate a concise, single-line task title of at most'
TURNS = (  # members that differ from TURN, how many days ago a client was seen, whether it is the user's
    ({'client': None}, None, True), ({'client': None}, 6, False),  # of an old Codex, or of a subagent
    ({'client': None, 'last-assistant-message': None}, 8, True), ({}, 8, True),
    ({'input-messages': [TITLE]}, None, False), ({'input-messages': ['x', TITLE]}, None, True),
    ({'type': 'approval-requested'}, None, False))


def flat(event):
    """The texts of an event and of its tool input, by their names."""
    inputs = event.get('tool_input')
    every = event | {f'tool_input.{name}': text for name, text in (inputs if isinstance(inputs, dict) else {}).items()}
    return {name: text for name, text in every.items() if isinstance(text, str)}


def logged(payload):
    """The texts of `payload` that are to be logged; None when it is not to be logged at all."""
    with suppress(ValueError, AttributeError):
        return {name: text for name, text in flat(json.loads(payload)).items()
                if name in NAMES and (name != 'prompt' or not text.startswith('<task-notification>'))}
    return None


class Scripts(Home):
    """The scripts deployed in a home, for one shell and one awk."""

    def __init__(self, test, shell, awk):
        super().__init__(test, 'a "home" of \'his\'')
        self.shell_number, self._shebang = COMBINATIONS.index((shell, awk)) // 4, f'#!/usr/bin/{shell}\n'
        self.tools, self.hooks = self.folder / 'tools', self.path / '.tavvel/hooks'
        for folder in (self.tools, self.hooks):
            folder.mkdir(parents=True)
        awks = {'mawk': awk, 'awk': 'false'} if awk == 'mawk' else {'awk': awk}  # the quickest of two is taken
        for name, tool in (awks | {'mkdir': 'mkdir', 'find': 'find', 'rm': 'rm'}).items():
            (self.tools / name).symlink_to(shutil.which(tool))
        for script in SCRIPTS.iterdir():
            self.add_program(self.hooks / script.name, script.read_text().partition('\n')[2])
        self.environment |= {'PATH': str(self.tools), 'HOME': '/nonexistent'}

    def add_program(self, path, body):
        path.write_text(self._shebang + body)
        path.chmod(0o755)

    def claude(self, payload='{}', folder=None, **options):
        self.run_silently((folder or self.hooks) / 'tavvel-hook.sh', input=payload, umask=0, **options)

    def codex_turn(self, *arguments):
        self.run_silently(self.hooks / 'codex-notify.sh', *arguments)

    def take_lines(self):
        """What was logged since the last call, without the time that each line has."""
        log = self.path / '.tavvel/events.jsonl'
        *lines, rest = self.read(log).split(b'\n')
        log.unlink(missing_ok=True)
        events = [json.loads(line.decode(errors='surrogateescape')) for line in lines]
        for line, event in zip(lines, events):
            assert len(line) < 4096 and not rest and -2 < time.time() - event.pop('tavvel_ts') < 60, line
        return events


def in_all_shells(test):
    """Runs `test` with each shell and awk, some at a time."""
    @functools.wraps(test)
    def run_all(self):
        with ThreadPoolExecutor(3) as pool:
            runs = {names: pool.submit(test, self, Scripts(self, *names)) for names in COMBINATIONS}
        for names, done in runs.items():
            with self.subTest(names):
                done.result()
    return run_all


class HookScriptsTest(unittest.TestCase):
    @in_all_shells
    def test_what_the_board_reads_of_a_json_object_is_logged_and_nothing_else(self, scripts):
        recorded = [path.read_text() for path in sorted(RECORDINGS.glob('claude/*/[0-9]*.json'))]
        for payload in [*PAYLOADS, *recorded][scripts.shell_number::3]:  # to save time, each awk in one of the shells
            scripts.claude(payload)
            lines, expected = [flat(line) for line in scripts.take_lines()], logged(payload)
            self.assertEqual([{*line} for line in lines], [] if expected is None else [{*expected}], payload[:300])
            for name, text in lines[0].items() if lines else ():
                whole, is_part = expected[name], str.endswith if name == 'cwd' else str.startswith
                if text != whole:  # cut, where a character ends
                    size = len(text.encode(errors='surrogateescape'))
                    self.assertTrue(is_part(whole, text) and size > 40, (name, text))

    @in_all_shells
    def test_of_many_at_once_each_logs_one_private_line_that_is_whole(self, scripts):
        payload = json.dumps({'prompt': 'p' * 2000, 'cwd': 'c' * 1900, 'tool_response': 'r' * 20_000})
        with ThreadPoolExecutor(40) as pool:
            list(pool.map(scripts.claude, [payload] * 40))
        self.assertEqual((scripts.path / '.tavvel/events.jsonl').stat().st_mode & 0o7777, 0o600)
        self.assertEqual(scripts.take_lines(), [logged(payload)] * 40)

    @in_all_shells
    def test_a_deployed_script_logs_beside_itself_and_another_in_an_absolute_home(self, scripts):
        home, elsewhere = scripts.folder / "it's $HOME", shutil.copytree(scripts.hooks, scripts.folder / 'elsewhere')
        home.mkdir()
        for folder, value, is_here, is_home in ((scripts.hooks, '', 1, 0), (Path('.tavvel/hooks'), home, 1, 0),
                                                (elsewhere, 'relative', 0, 0), (elsewhere, home, 0, 1)):
            scripts.environment['HOME'] = str(value)
            scripts.claude(folder=folder, cwd=scripts.path)
            self.assertEqual(len(scripts.take_lines()), is_here, (folder, value))
            self.assertEqual([path.stat().st_mode & 0o7777 for path in home.iterdir()], [0o700] * is_home, value)
        self.assertEqual([path.name for path in scripts.path.iterdir()], ['.tavvel'])
        self.assertEqual((home / '.tavvel/events.jsonl').read_bytes().count(b'\n'), 1)

    @in_all_shells
    def test_a_full_disk_costs_one_event_and_not_the_next(self, scripts):
        log, torn = scripts.path / '.tavvel/events.jsonl', scripts.path / '.tavvel/events.torn'
        # A limit of file sizes is a full disk for one process.
        scripts.run_silently('/usr/bin/prlimit', '--fsize=9', scripts.hooks / 'tavvel-hook.sh', input='{"cwd":"/a"}')
        self.assertEqual((log.read_bytes(), torn.exists()), (b'{"cwd":"/', True))
        scripts.claude('{"cwd":"/b"}')
        self.assertFalse(torn.exists())
        scripts.claude('{"cwd":"/c"}')
        half, *lines = log.read_text().splitlines()
        self.assertEqual((half, [json.loads(line)['cwd'] for line in lines]), ('{"cwd":"/', ['/b', '/c']))

    @in_all_shells
    def test_a_turn_of_the_user_in_codex_is_logged_and_no_other(self, scripts):
        seen = scripts.hooks / 'codex-client-seen'
        for members, days, is_logged in TURNS:
            seen.unlink(missing_ok=True)
            if days:
                seen.touch()
                os.utime(seen, (time.time() - days * 86_400,) * 2)
            turn = {key: value for key, value in (TURN | members).items() if value}
            scripts.codex_turn('--other', json.dumps(turn))
            line = {'hook_event_name': 'CodexTurnComplete', 'session_id': 't', 'cwd': '/a',
                    'prompt': turn['input-messages'][-1], 'assistant': turn.get('last-assistant-message')}
            logged = [{name: text for name, text in line.items() if text}] if is_logged else []
            self.assertEqual(scripts.take_lines(), logged, turn)
            is_new = seen.exists() and seen.stat().st_mtime > time.time() - 86_400
            self.assertEqual(is_new, 'client' in turn and 'turn' in turn['type'], turn)
        scripts.codex_turn(r'-n \c %s')
        scripts.codex_turn()
        self.assertEqual(scripts.take_lines(), [])

    @in_all_shells
    def test_whatever_the_log_is_the_program_that_codex_ran_before_gets_its_arguments(self, scripts):
        # It has the name of a shell builtin, fails and talks: none of it may show.
        body = 'echo out; echo err >&2\nprintf "[%s]" "$@" >"${0%/*}/../record"\nexit 7\n'
        scripts.add_program(scripts.tools / 'true', body)
        log, record = scripts.path / '.tavvel/events.jsonl', scripts.folder / 'record'
        notification = r'''{"type": "\n\\ %d 'é' $(x)  ''' + 'p' * 100_000 + '"}'
        turn = 'true', '', 'two\nlines ', notification
        (scripts.path / '.tavvel/events.torn').mkdir()  # nor can the failure be noted
        for make in (log.mkdir, lambda: os.mkfifo(log), lambda: log.symlink_to('/dev/full'),
                     lambda: log.symlink_to('/nonexistent/x')):
            make()
            scripts.claude()
            scripts.write(scripts.hooks / 'codex-notify-forward', '')
            scripts.codex_turn(*turn)
            self.assertFalse(record.exists())
            scripts.write(scripts.hooks / 'codex-notify-forward', 'true\n-n\n\n a  b\\n \'c\' "$HOME" * %s\né')
            scripts.codex_turn(*turn)
            expected = '[-n][][ a  b\\n \'c\' "$HOME" * %s][é][true][][two\nlines ][' + notification + ']'
            self.assertEqual(record.read_text(), expected)
            record.unlink()
            log.rmdir() if log.is_dir() else log.unlink()
