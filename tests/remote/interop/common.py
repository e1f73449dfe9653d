"""Shared pieces of the interoperability scripts: argument parsing, a
keldcfgd started on an ephemeral loopback port, and the skip convention
(exit code 77 with a clear message)."""
import argparse
import re
import subprocess
import sys
import time

SKIP = 77
IFACE = ('3dfb19d3-55b8-49a2-bc76-139c0bbd5969', '1.3')


def skip(message):
    print('SKIPPED: ' + message)
    sys.exit(SKIP)


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument('--keldcfgd', required=True)
    parser.add_argument('--probe', required=True)
    return parser.parse_args()


def require_impacket():
    try:
        import impacket  # noqa: F401
    except ImportError:
        skip('impacket is not installed (Debian package python3-impacket, run with /usr/bin/python3)')


class Keldcfgd:
    """keldcfgd on 127.0.0.1 with a free port, stopped with SIGTERM."""

    def __init__(self, path, *extra):
        self.process = subprocess.Popen([path, '--listen', '127.0.0.1:0', '--log-level', 'debug', *extra],
                                        stderr=subprocess.PIPE, text=True)
        self.port = None
        deadline = time.time() + 20
        while time.time() < deadline:
            line = self.process.stderr.readline()
            if not line:
                break
            match = re.search(r'listening on 127\.0\.0\.1:(\d+)', line)
            if match:
                self.port = int(match.group(1))
                break
        if self.port is None:
            self.process.kill()
            raise SystemExit('keldcfgd did not start')

    def stop(self):
        self.process.terminate()
        try:
            code = self.process.wait(timeout=20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise SystemExit('keldcfgd did not stop on SIGTERM')
        rest = self.process.stderr.read()
        return code, rest
