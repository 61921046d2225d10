import shutil
import unittest
from pathlib import Path
from subprocess import DEVNULL

from driver.desktop import App, desktop
from driver.home import line, run, until

# Stands for an agent: keeps of its session what its tool keeps, in the terminal where it is started.
AGENT = r'''case $1 in
cc-*) echo "{\"sessionId\":\"${1#cc-}\",\"pid\":$$}" >"$HOME/.claude/sessions/$$.json"; exec sleep 1000 ;;
cx-*) exec 3>"$HOME/rollout-2026-${1#cx-}.jsonl"; exec "$HOME/codex" -c 'sleep 1000; :' ;;
esac'''
NO_WINDOW = '没找到这个会话的终端窗口。'
# The sessions, and where the way to each leads: to the window of this name, or to a sentence.
SESSIONS = {'cc-xterm': 'xterm', 'cc-tmux': 'tmux', 'cc-screen': 'screen', 'cc-first': 'first', 'cx-second': 'second',
            'cx-served': 'second',
            'cc-blind': NO_WINDOW, 'cc-hidden': NO_WINDOW, 'cx-gone': '没找到这个会话的进程。'}


def windows():
    """Their numbers by their names."""
    numbers = desktop().property(desktop().root, '_NET_CLIENT_LIST')
    return {desktop().x.create_resource_object('window', number).get_wm_name(): number for number in numbers}


class SessionTest(unittest.TestCase):
    def test_a_notification_leads_to_the_window_and_pane_of_its_session_only(self):
        desktop().use(notifications=None)
        desktop().use()  # with a service that counts from 1
        app = App(self, *[line(name, 40, id=name, project=name) for name in SESSIONS])
        home, agent = app.home, f'sh {app.home.path}/agent'
        (home.path / 'screens').mkdir(mode=0o700)
        home.environment['SCREENDIR'] = f'{home.path}/screens'
        library = next(Path('/usr/lib').glob('*/faketime/libfaketimeMT.so.1'))
        app.environment |= home.environment | {'LD_PRELOAD': f'{library}', 'FAKETIME_NO_CACHE': '1',
                                               'FAKETIME_TIMESTAMP_FILE': f'{home.path}/clock'}
        home.write('agent', AGENT)
        # A client of tmux hangs with libfaketime 0.9.10.
        home.write('bin/tmux', '#!/bin/sh\nunset LD_PRELOAD\nexec /usr/bin/tmux "$@"\n')
        (home.path / 'bin/tmux').chmod(0o755)
        app.environment['PATH'] = f'{home.path}/bin:' + app.environment['PATH']
        (home.path / '.claude/sessions').mkdir()
        shutil.copy('/bin/dash', home.path / 'codex')
        served = f'exec 3>{home.path}/rollout-2026-served.jsonl; exec {home.path}/codex -c "sleep 1000; :" app-server'
        home.start('sh', '-c', served)  # Codex's background server, for its only window

        def show(name, *command):
            home.start(*command, stderr=DEVNULL)
            return until(lambda: windows().get(name))

        # As if everything else had been started there.
        home.environment['WINDOWID'] = str(show('xterm', 'xterm', '-T', 'xterm', '-e', f'{agent} cc-xterm'))
        tmux = ['tmux', '-f', '/dev/null', '-S', f'{home.path}/tmux']
        for what, command in (('new-session -d -s hidden', f'{agent} cc-hidden'),
                              ('new-session -d -s tmux', f'{agent} cc-tmux'),
                              ('split-window -t =tmux:', 'sleep 1000'), ('new-window -t =tmux:', 'sleep 1000')):
            run(*tmux, *what.split(), command, env=home.environment)
        screen = ['screen', '-S', 'plum']
        run(*screen, '-c', '/dev/null', '-d', '-m', *f'{agent} cc-screen'.split(), env=home.environment)
        show('tmux', 'xterm', '-T', 'tmux', '-e', *tmux, 'attach', '-t', 'tmux')
        show('screen', 'xterm', '-T', 'screen', '-e', *screen, '-r')
        home.environment |= {'TMUX': run(*tmux, 'display-message', '-p', f'{home.path}/tmux,#{{pid}},0').strip(),
                             'TMUX_PANE': '%0'}
        show('second', 'xfce4-terminal', '--disable-server', '-T', 'first', '-e', f'{agent} cc-first',
             '--window', '-T', 'second', '-e', f'{agent} cx-second',
             '--tab', '-T', 'second', '-e', f'env -u WINDOWID {agent} cc-blind')
        until(lambda: len([*home.path.glob('.claude/sessions/*.json'), *home.path.glob('rollout*')]) == 8)
        other = desktop().open_window(self, 100, 200, 300, 200)
        home.write('clock', '+0')
        self.enterContext(app)
        for setting in ('+0', '+2m'):  # of each of these silent sessions it warns then
            home.write('later', setting)
            (home.path / 'later').rename(home.path / 'clock')
            home.log({'hook_event_name': 'Stop', 'session_id': 'nobody'})  # wakes it
            until(home.has_read_all)
        told = until(lambda: desktop().notified()[len(SESSIONS) - 1:] and desktop().notified())
        for number, (_, _, _, name, *_) in enumerate(told, 1):
            before, where = len(desktop().notified()), SESSIONS[name]
            desktop().do('windowactivate', '--sync', other.id)
            desktop().do('set_desktop', int(where in windows()))  # away from them
            desktop().tell_notified('ActionInvoked', number, 's', 'session')
            if where in windows():
                until(lambda: desktop().active() == [windows()[where]])
            else:
                answer = until(lambda: desktop().notified()[before:])
                self.assertEqual((answer[0][1:5], desktop().active()),
                                 ([number, 'plumtide', '前往会话', where], [other.id]))
        pane = run(*tmux, 'display-message', '-p', '-t', '=tmux:', '#{pane_start_command}', env=home.environment)
        self.assertEqual(pane, f'"{agent} cc-tmux"\n')
        self.assertEqual(len(desktop().notified()), len(SESSIONS) + 3)
