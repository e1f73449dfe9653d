"""tshark dissects a loopback capture of our client (rpc_probe) talking to
keldcfgd: the packets must be DCERPC bind, bind_ack, request and response
with our interface UUID, and none may be malformed. Exit 77 when tshark is
missing or cannot capture on the loopback interface."""
import os
import shutil
import subprocess
import sys
import tempfile
import time

from common import Keldcfgd, arguments, skip

UUID = '3dfb19d3-55b8-49a2-bc76-139c0bbd5969'
# DCERPC packet types: request 0, response 2, bind 11, bind_ack 12.
WANTED = {'0': 'request', '2': 'response', '11': 'bind', '12': 'bind_ack'}


def main():
    args = arguments()
    tshark = shutil.which('tshark')
    if tshark is None:
        skip('tshark is not installed (Debian package tshark)')
    server = Keldcfgd(args.keldcfgd)
    failures = []
    with tempfile.TemporaryDirectory() as folder:
        capture = os.path.join(folder, 'rpc.pcapng')
        dumper = subprocess.Popen([tshark, '-i', 'lo', '-f', 'tcp port %d' % server.port, '-w', capture, '-q'],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        # Wait until the capture file exists, which tshark creates once it runs.
        for _ in range(100):
            if os.path.exists(capture) or dumper.poll() is not None:
                break
            time.sleep(0.1)
        if dumper.poll() is not None or not os.path.exists(capture):
            server.stop()
            skip('tshark cannot capture on lo here: ' + (dumper.stderr.read() if dumper.poll() is not None else 'no file'))
        time.sleep(1.0)
        for argv in (['version', str(server.port)], ['session', str(server.port)]):
            result = subprocess.run([args.probe, *argv], capture_output=True, text=True, timeout=30)
            print('rpc_probe %s -> rc %d\n%s' % (' '.join(argv), result.returncode, result.stdout))
            if result.returncode != 0:
                failures.append('rpc_probe ' + argv[0])
        time.sleep(1.0)
        dumper.terminate()
        dumper.wait(timeout=20)
        server.stop()

        decode = ['-d', 'tcp.port==%d,dcerpc' % server.port]
        fields = subprocess.run([tshark, '-r', capture, *decode, '-Y', 'dcerpc', '-T', 'fields',
                                 '-e', 'dcerpc.pkt_type', '-e', 'dcerpc.cn_bind_to_uuid',
                                 '-e', 'dcerpc.opnum'], capture_output=True, text=True, timeout=60)
        print(fields.stdout)
        types = set()
        uuids = set()
        for line in fields.stdout.splitlines():
            parts = line.split('\t')
            types.update(t for t in parts[0].split(',') if t)
            if len(parts) > 1 and parts[1]:
                uuids.update(parts[1].split(','))
        for code, name in WANTED.items():
            if code not in types:
                failures.append('no DCERPC %s dissected' % name)
        if UUID not in uuids:
            failures.append('bind does not carry the interface UUID (saw %s)' % sorted(uuids))
        malformed = subprocess.run([tshark, '-r', capture, *decode, '-Y', '_ws.malformed || _ws.expert.severity >= "error"'],
                                   capture_output=True, text=True, timeout=60)
        if malformed.returncode != 0:
            failures.append('tshark filter failed: ' + malformed.stderr)
        if malformed.stdout.strip():
            failures.append('malformed packets:\n' + malformed.stdout)
    if failures:
        print('FAILED: ' + '\n'.join(failures))
        return 1
    print('tshark: bind, bind_ack, request and response dissected with our UUID, nothing malformed')
    return 0


if __name__ == '__main__':
    sys.exit(main())
