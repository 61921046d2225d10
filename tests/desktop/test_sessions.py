import json
import shutil
import unittest

from driver.desktop import BUS, MOCK, App, desktop
from driver.home import line, run, until

# Stands for an agent: keeps of its session what its tool keeps, in the terminal where it is started.
AGENT = r'''case $1 in
cc-*) echo "{\"sessionId\":\"${1#cc-}\",\"pid\":$$}" >"$HOME/.claude/sessions/$$.json"; exec sleep 1000 ;;
cx-*) exec 3>"$HOME/rollout-2026-${1#cx-}.jsonl"; exec "$HOME/codex" -c 'sleep 1000; :' ;;
esac'''
NO_WINDOW = '没找到这个会话的终端窗口。'
# The sessions, and where the way to each leads: to this window, or to a sentence.
SESSIONS = {'xterm': 'xterm', 'tmux': 'tmux', 'screen': 'screen', 'first': 'first', 'blind': NO_WINDOW,
            'hidden': NO_WINDOW}


def windows():
    """Their numbers by their names."""
    numbers = desktop().property(desktop().root, '_NET_CLIENT_LIST')
    return {desktop().x.create_resource_object('window', number).get_wm_name(): number for number in numbers}


class SessionTest(unittest.TestCase):
    def setUp(self):
        desktop().use(notifications=None)
        self.app = App(self)
        self.app.home.write('agent', AGENT)
        self.agent = f'sh {self.app.home.path}/agent'
        self.tmux = ['tmux', '-f', '/dev/null', '-S', f'{self.app.home.path}/tmux']
        (self.app.home.path / '.claude/sessions').mkdir()

    def count(self):
        return len([*self.app.home.path.glob('.claude/sessions/*.json'), *self.app.home.path.glob('rollout*')])

    def test_notifications_and_the_next_step_lead_to_the_window_and_pane_of_their_session(self):
        desktop().use()  # with a service that counts from 1
        app, home, agent, tmux = self.app, self.app.home, self.agent, self.tmux
        (home.path / 'screens').mkdir(mode=0o700)
        home.environment['SCREENDIR'] = f'{home.path}/screens'
        app.environment |= home.environment
        shutil.copy('/bin/dash', home.path / 'codex')
        served = f'exec 3>{home.path}/rollout-2026-served.jsonl; exec {home.path}/codex -c "sleep 1000; :" app-server'
        home.start('sh', '-c', served)  # Codex's background server, for its only window

        def show(name, *command):
            home.start(*command)
            return until(lambda: windows().get(name))

        # As if everything else had been started there.
        home.environment['WINDOWID'] = str(show('xterm', 'xterm', '-T', 'xterm', '-e', f'{agent} cc-xterm'))
        for what, command in (('new-session -d -s hidden', f'{agent} cc-hidden'),
                              ('new-session -d -s tmux', f'{agent} cc-tmux'),
                              ('split-window -t =tmux:', 'sleep 1000'), ('new-window -t =tmux:', 'sleep 1000')):
            home.run(*tmux, *what.split(), command)
        screen = ['screen', '-S', 'plum']
        home.run(*screen, '-c', '/dev/null', '-d', '-m', *f'{agent} cc-screen'.split())
        show('tmux', 'xterm', '-T', 'tmux', '-e', *tmux, 'attach', '-t', 'tmux')
        show('screen', 'xterm', '-T', 'screen', '-e', *screen, '-r')
        home.environment |= {'TMUX': home.run(*tmux, 'display-message', '-p', f'{home.path}/tmux,#{{pid}},0').strip(),
                             'TMUX_PANE': '%0'}
        show('second', 'xfce4-terminal', '--disable-server', '-T', 'first', '-e', f'{agent} cc-first',
             '--window', '-T', 'second', '-e', f'{agent} cx-second',
             '--tab', '-T', 'second', '-e', f'env -u WINDOWID {agent} cc-blind')
        until(lambda: self.count() == 8)
        other = desktop().open_window(self, 100, 200, 300, 200)
        for session in ('served', 'second'):
            job = line('job', id=f'cx-{session}', status='waiting', needsApproval=True)
            home.write('.tavvel/tasks.json', json.dumps([job]))
            with app:
                x, y, _, _ = desktop().geometry(app.open())
                desktop().do('mousemove', x + 200, y + 150, 'click', '--repeat', 2, 1)  # on the next step
                until(lambda: desktop().active() == [windows()['second']])
                desktop().do('windowactivate', '--sync', other.id)
        home.write('.tavvel/tasks.json', json.dumps([job, line('written', status='waiting')]))
        self.enterContext(app)
        for session in SESSIONS:
            home.hook('PermissionRequest', session, tool_input={'command': session})
        until(lambda: len(desktop().notified()) == len(SESSIONS))
        for number, told in enumerate(desktop().notified(), 1):
            where = SESSIONS[told[4].split()[-1]]
            before = len(desktop().notified())
            desktop().do('windowactivate', '--sync', other.id)
            desktop().do('set_desktop', int(where in windows()))  # away from them
            desktop().tell_notified('ActionInvoked', number, 's', 'session')
            if where in windows():
                until(lambda: desktop().active() == [windows()[where]])
            else:
                answer = until(lambda: desktop().notified()[before:])
                self.assertEqual((answer[0][1:5], desktop().active()),
                                 ([number, 'plumtide', '前往会话', where], [other.id]))
        pane = home.run(*tmux, 'display-message', '-p', '-t', '=tmux:', '#{pane_start_command}')
        self.assertEqual(pane, f'"{agent} cc-tmux"\n')
        self.assertEqual(len(desktop().notified()), len(SESSIONS) + 2)
        for where in ('second', 'written', *SESSIONS.values(), 'second'):
            app.start_again('--next')
            if where in windows():
                until(lambda: desktop().active() == [windows()[where]])
            else:
                app.until_open()
                app.find(*('alert', where) if where == NO_WINDOW else ('push button', '搁置'))
        home.run('sh', '-c', f"kill -STOP {home.environment['TMUX'].split(',')[1]}")  # the way to it takes long
        for where in (None, 'xterm', None, 'screen'):  # between: a line without a session, the one in tmux
            app.start_again('--next')
            until(lambda: not where or desktop().active() == [windows()[where]])
        until(lambda: not run('cat', f'/proc/{app.pid}/task/{app.pid}/children'))
        app.start_again('--reset-mini-board')  # answered once it has heard of that end
        self.assertIsNone(app.window())

    def test_a_notification_waits_while_the_terminal_of_its_session_has_the_focus(self):
        home, agent, tmux = self.app.home, self.agent, self.tmux
        home.write('dunstrc', '[urgency_normal]\ntimeout = 0\n')
        home.start('dunst', '-conf', f'{home.path}/dunstrc')
        until(lambda: desktop().call(*BUS, 'NameHasOwner', '(s)', MOCK[0]))
        home.start('xterm', '-T', 'plain', '-e', f'{agent} cc-plain')
        home.start('xterm', '-T', 'tmux', '-e', *tmux, 'new-session', '-s', 'tmux', f'{agent} cc-front')
        home.start('xterm', '-T', 'editor', '-e', f'env TERM_PROGRAM=vscode {agent} cc-editor')
        until(lambda: {'plain', 'tmux', 'editor'} <= {*windows()} and self.count() == 3)
        home.run(*tmux, 'split-window', '-d', '-t', '=tmux:', f'{agent} cc-back')
        until(lambda: self.count() == 4)
        self.enterContext(self.app)
        for window, sessions, shown in (('editor', ('editor',), 1), ('tmux', ('front', 'plain', 'back'), 3),
                                        ('plain', ('plain',), 2), ('plain', (), 3)):
            desktop().do('windowactivate', '--sync', windows()[window])
            for session in sessions:
                home.hook('Stop', session)
                home.hook('PermissionRequest', session, tool_input={'command': session})
            until(lambda: home.run('dunstctl', 'count', 'displayed') == f'{shown}\n')
