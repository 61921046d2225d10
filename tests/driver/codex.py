"""What a Codex does to its threads: run by the name of codex, it takes a command a line, and answers each by a line."""
import fcntl
import os
import subprocess
import sys

locks, processes = {}, {}
for line in sys.stdin:
    verb, *words = line.split()
    if verb == 'locks':
        os.makedirs(os.path.dirname(words[0]), exist_ok=True)
        locks[words[0]] = open(words[0], 'a')
        fcntl.flock(locks[words[0]], fcntl.LOCK_EX)
    elif verb == 'unlocks':
        os.remove(words[0])
        locks.pop(words[0]).close()
    elif verb == 'runs':
        names = dict(zip(('CODEX_TOOL_CALL_ID', 'CODEX_THREAD_ID'), words))
        sleep = ('setpriv', '--pdeathsig', 'KILL', 'sleep', '1000')
        processes[words[0]] = process = subprocess.Popen(sleep, env=os.environ | names)
        while not open(f'/proc/{process.pid}/cmdline').read().startswith('sleep'):  # no environment meanwhile
            pass
    elif words[0] in processes:
        processes[words[0]].kill()
        processes[words[0]].wait()
    print(flush=True)
