#!/usr/bin/env python3
"""Registers this checkout's hook scripts with Claude Code and Codex.

The program itself does the work (plumtide --install-hooks); this only points it at the checkout's resources, so it
also helps where the program was built without them beside it. An argument names another program than build/plumtide.
"""

import os
import pathlib
import subprocess
import sys

checkout = pathlib.Path(__file__).resolve().parent.parent
program = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else checkout / "build" / "plumtide"

if not program.exists():
    if len(sys.argv) > 1:
        sys.exit(f"{program}: no such program")
    subprocess.run([checkout / "scripts" / "build"], check=True, stdout=sys.stderr)

environment = dict(os.environ, PLUMTIDE_RESOURCES=str(checkout / "resources"))
sys.exit(subprocess.run([program, "--install-hooks"], env=environment, check=False).returncode)
