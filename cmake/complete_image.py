"""complete_image.py IMAGE MAP: writes into the header of a 64-bit image where its load configuration and its table of
delay-loaded imports lie, as the linker's map tells, and the checksum anew. Fails, with the image as it was, if a symbol
is missing or a table is there already."""

import re
import struct
import sys
from pathlib import Path

DELAY_IMPORTS, LOAD_CONFIGURATION = 13, 10
DESCRIPTOR = 32  # bytes of one library's entry; one of zeros ends the table


def check_sum(image, field):
    """The sum of all 16-bit words but those of the checksum itself, with carries added, and the length."""
    data = bytes(image[:field]) + bytes(4) + bytes(image[field + 4:])
    total = sum(struct.unpack(f"<{len(data) // 2}H", data))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(data)


def main(image_file, map_file):
    image = bytearray(Path(image_file).read_bytes())
    symbols = {name: int(address, 16) for address, name in
               re.findall(r"^ +0x([0-9a-f]+) +(\w+)$", Path(map_file).read_text(), re.MULTILINE)}
    optional = struct.unpack_from("<I", image, 0x3C)[0] + 24
    base = struct.unpack_from("<Q", image, optional + 24)[0]

    def enter(directory, begin, size):
        place = optional + 112 + 8 * directory
        if any(image[place:place + 8]):
            sys.exit(f"{image_file}: data directory {directory} is filled in already")
        struct.pack_into("<II", image, place, begin - base, size)

    delayed = [address for name, address in symbols.items() if name.startswith("__DELAY_IMPORT_DESCRIPTOR_")]
    end = symbols["vandrel_delay_imports_end"]
    if sorted(delayed) != list(range(end - DESCRIPTOR * len(delayed), end, DESCRIPTOR)):
        sys.exit(f"{image_file}: the descriptors of delay-loaded libraries don't stand one after the other")
    enter(DELAY_IMPORTS, min(delayed), end + DESCRIPTOR - min(delayed))
    enter(LOAD_CONFIGURATION, symbols["_load_config_used"], 0x70)
    struct.pack_into("<I", image, optional + 64, check_sum(image, optional + 64))
    Path(image_file).write_bytes(image)


main(*sys.argv[1:])
