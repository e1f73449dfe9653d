"""The CfgRemote procedures described with impacket's NDR classes."""
from impacket.dcerpc.v5.dtypes import LONG, ULONG, STR, UCHAR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRSTRUCT, NDRPOINTER, NDRUniConformantArray


class BYTE_ARRAY(NDRUniConformantArray):
    item = 'c'


class PBYTE_ARRAY(NDRPOINTER):
    referent = (('Data', BYTE_ARRAY),)


class PUCHAR(NDRPOINTER):
    referent = (('Data', UCHAR),)


class BYTESTREAM(NDRSTRUCT):
    structure = (('size', ULONG), ('data', PBYTE_ARRAY), ('cursor', PUCHAR))


class RemoteOpen(NDRCALL):
    opnum = 0
    structure = (('driverType', LONG), ('name', STR), ('interfaceName', STR))


class RemoteOpenResponse(NDRCALL):
    structure = (('sessionId', LONG), ('ErrorCode', ULONG))


class RemoteCommand(NDRCALL):
    opnum = 1
    structure = (('sessionId', LONG), ('command', LONG), ('input', BYTESTREAM))


class RemoteCommandResponse(NDRCALL):
    structure = (('output', BYTESTREAM), ('ErrorCode', ULONG))


class RemotePing(NDRCALL):
    opnum = 2
    structure = (('sessionId', LONG),)


class RemoteClose(NDRCALL):
    opnum = 3
    structure = (('sessionId', LONG),)


class RemotePingResponse(NDRCALL):
    structure = (('ErrorCode', ULONG),)


class RemoteCloseResponse(NDRCALL):
    structure = (('ErrorCode', ULONG),)


class RemoteVersion(NDRCALL):
    opnum = 5
    structure = ()


class RemoteVersionResponse(NDRCALL):
    structure = (('version', LONG), ('ErrorCode', ULONG))


class RemoteGetMTU(NDRCALL):
    opnum = 6
    structure = (('adapterName', STR),)


class RemoteGetMTUResponse(NDRCALL):
    structure = (('mtu', LONG), ('ErrorCode', ULONG))
