"""Our client against an impacket DCE/RPC server that implements two
procedures of the interface, RemoteVersion and RemoteGetMTU. Exit 0 on
success, 77 when impacket is missing."""
import subprocess
import sys

from common import IFACE, arguments, require_impacket

SERVED_VERSION = 0x03020000
SERVED_MTU = 9000


def main():
    args = arguments()
    require_impacket()
    from impacket.dcerpc.v5 import rpcrt
    import cfg_ndr as n

    def version(data):
        reply = n.RemoteVersionResponse()
        reply['version'] = SERVED_VERSION
        reply['ErrorCode'] = 0
        return reply.getData()

    def get_mtu(data):
        request = n.RemoteGetMTU(data)
        reply = n.RemoteGetMTUResponse()
        name = request['adapterName']
        name = name.decode() if isinstance(name, bytes) else str(name)
        reply['mtu'] = SERVED_MTU if name.rstrip('\x00') == 'eth7' else 0
        reply['ErrorCode'] = 0 if reply['mtu'] else 0xBFFF801A
        return reply.getData()

    server = rpcrt.DCERPCServer()
    server.addCallbacks(IFACE, '', {5: version, 6: get_mtu})
    server.setListenPort(0)
    port = server.getListenPort()
    server.daemon = True
    server.start()

    failures = []
    expectations = [
        (['version', str(port)], {'status': '0x00000000', 'version': '0x%08X' % SERVED_VERSION}),
        (['mtu', str(port), 'eth7'], {'status': '0x00000000', 'mtu': str(SERVED_MTU)}),
        (['mtu', str(port), 'eth9'], {'status': '0xBFFF801A'}),
    ]
    for argv, wanted in expectations:
        result = subprocess.run([args.probe, *argv], capture_output=True, text=True, timeout=30)
        print('rpc_probe %s -> rc %d\n%s%s' % (' '.join(argv), result.returncode, result.stdout, result.stderr))
        values = dict(line.split('=', 1) for line in result.stdout.splitlines() if '=' in line)
        if result.returncode != 0 or any(values.get(k) != v for k, v in wanted.items()):
            failures.append(' '.join(argv))
    if failures:
        print('FAILED: ' + ', '.join(failures))
        return 1
    print('impacket server: our client got both procedures answered')
    return 0


if __name__ == '__main__':
    sys.exit(main())
