"""impacket's DCE/RPC client against keldcfgd: bind, RemoteVersion,
RemoteOpen, RemoteCommand with an input that spans several fragments, and
RemoteClose. Exit 0 on success, 77 when impacket is missing."""
import sys

from common import IFACE, Keldcfgd, arguments, require_impacket

KCURRENT_VERSION = 0x1250C000
NOT_SUPPORTED = 0xBFFF8011


def main():
    args = arguments()
    require_impacket()
    from impacket.dcerpc.v5 import transport
    from impacket.dcerpc.v5.ndr import NULL
    from impacket.uuid import uuidtup_to_bin
    import cfg_ndr as n

    server = Keldcfgd(args.keldcfgd)
    failures = []
    try:
        rpc = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % server.port)
        dce = rpc.get_dce_rpc()
        dce.connect()
        dce.bind(uuidtup_to_bin(IFACE))

        reply = dce.request(n.RemoteVersion(), checkError=False)
        version = reply
        print('RemoteVersion: version=0x%08X status=0x%08X' % (version['version'] & 0xFFFFFFFF, version['ErrorCode']))
        if version['version'] & 0xFFFFFFFF != KCURRENT_VERSION or version['ErrorCode'] != 0:
            failures.append('RemoteVersion')

        call = n.RemoteOpen()
        call['driverType'] = 2
        call['name'] = 'impacket:1\x00'
        call['interfaceName'] = 'cam0\x00'
        opened = dce.request(call, checkError=False)
        session = opened['sessionId']
        print('RemoteOpen: id=%d status=0x%08X' % (session, opened['ErrorCode']))
        if opened['ErrorCode'] != 0 or session <= 0:
            failures.append('RemoteOpen')

        # Small fragments so that the input travels in several request PDUs.
        dce.set_max_fragment_size(1024)
        payload = bytes(range(256)) * 40
        command = n.RemoteCommand()
        command['sessionId'] = session
        command['command'] = 43
        command['input']['size'] = len(payload)
        command['input']['data'] = list(payload)
        command['input']['cursor'] = NULL
        answer = dce.request(command, checkError=False)
        print('RemoteCommand: status=0x%08X output=%d bytes' % (answer['ErrorCode'], answer['output']['size']))
        # A camera session serves no ring set-up of a frame grabber: 0xBFFF8011.
        if answer['ErrorCode'] != NOT_SUPPORTED:
            failures.append('RemoteCommand')
        dce.set_max_fragment_size(0)

        ping = n.RemotePing()
        ping['sessionId'] = session
        status = dce.request(ping, checkError=False)['ErrorCode']
        print('RemotePing: status=0x%08X' % status)
        if status != 0:
            failures.append('RemotePing')

        close = n.RemoteClose()
        close['sessionId'] = session
        status = dce.request(close, checkError=False)['ErrorCode']
        print('RemoteClose: status=0x%08X' % status)
        if status != 0:
            failures.append('RemoteClose')
        status = dce.request(close, checkError=False)['ErrorCode']
        print('RemoteClose again: status=0x%08X' % status)
        if status != 0xBFFF8009:
            failures.append('RemoteClose of an unknown id')
        dce.disconnect()
    finally:
        code, log = server.stop()
    print(log)
    if code != 0:
        failures.append('keldcfgd exit code %d' % code)
    if failures:
        print('FAILED: ' + ', '.join(failures))
        return 1
    print('impacket client: all calls answered')
    return 0


if __name__ == '__main__':
    sys.exit(main())
