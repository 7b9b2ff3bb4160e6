"""Libraries that somebody has put where they don't belong, under the names that a program may ask for."""

import subprocess
from pathlib import Path

# What Wine's libraries load in a whole update, what Windows' own are known to ask for, and what toolchains bring along.
NAMES = """
    actxprxy advapi32 api-ms-win-crt-runtime-l1-1-0 apphelp bcrypt bcryptprimitives cfgmgr32 clbcatq combase comctl32
    comdlg32 credssp crypt32 cryptbase cryptnet cryptsp d3dcompiler_47 dbghelp dhcpcsvc dhcpcsvc6 dnsapi dpapi dwmapi
    fwpuclnt gdi32 gdi32full gpapi imagehlp imm32 iphlpapi jsproxy kerberos kernel.appcore libgcc_s_seh-1 libssp-0
    libstdc++-6 libwinpthread-1 mpr msasn1 mscoree msv1_0 msvcp140 msvcp_win msvcrt mswsock ncrypt ncryptsslp netapi32
    netutils normaliz nsi ntmarta ole32 oleaut32 powrprof profapi propsys rasadhlp rasapi32 rpcrt4 rsaenh samcli
    schannel sechost secur32 setupapi shcore shell32 shlwapi srvcli sspicli sxs ucrtbase umpdc urlmon user32 userenv
    usp10 uxtheme vcruntime140 vcruntime140_1 version webio win32u winbrand windows.storage wininet winhttp winmm
    wintrust wkscli wldp ws2_32 wsock32 wtsapi32 zlib1
""".split()


def build_library(file):
    """Makes `file`, to be copied to each of the names: tools/planted_library.c, which notes who runs it. The same bytes
    each time. Raises subprocess.CalledProcessError."""
    source = Path(__file__).parent / "tools" / "planted_library.c"
    subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-Os", "-s", "-shared", "-nostdlib", "-e", "DllMain",
                    "-Wl,--no-insert-timestamp,--image-base=0x180000000", source, "-o", file, "-lkernel32"], check=True)
