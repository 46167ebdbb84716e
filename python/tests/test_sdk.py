"""The binding's declarations and the exports that need no scanner handle."""

import pathlib
import re
import struct
import zlib

import numpy
import pytest

import livescannerkx2 as kx2

HEADER = pathlib.Path(__file__).resolve().parents[2] / "include" / "livescannerkx2.h"


def header_exports():
    text = re.sub(r"/\*.*?\*/", "", HEADER.read_text(), flags=re.S)
    found = {}
    for name, args in re.findall(r"LS_KX2_EXPORT[^;(]*?\b(LS_KX2\w+)\s*\(([^)]*)\)\s*;", text):
        args = args.strip()
        found[name] = 0 if args in ("", "void") else args.count(",") + 1
    return found


def test_the_exports_of_the_header_are_declared_with_their_arity():
    exports = header_exports()
    assert len(exports) == 31 and set(exports) == set(kx2.SIGNATURES)
    for name, arity in exports.items():
        assert len(kx2.SIGNATURES[name][1]) == arity, name
        getattr(kx2._lib.api, name)  # exported by the library too


def test_error_texts_in_both_widths():
    assert kx2.error_text(-702) == kx2.error_text_w(-702)
    assert kx2.error_text(-702) != kx2.error_text(-701)
    assert kx2.error_text(12345) == "Unknown error code."


def test_failures_raise_one_class_with_code_and_catalogue_text():
    kx2.check_compatibility("1.4")
    kx2.check_compatibility("2.0")
    for version, code in (("1.3", -103), ("one", -44)):
        with pytest.raises(kx2.Error) as caught:
            kx2.check_compatibility(version)
        assert caught.value.code == code
        assert caught.value.text == kx2.error_text(code)
        assert caught.value.function == "LS_KX2CompatibilityCheck"


def test_references_are_counted():
    kx2.initialize()
    kx2.initialize()
    kx2.uninitialize()
    kx2.uninitialize()
    with pytest.raises(kx2.Error) as caught:
        kx2.uninitialize()
    assert caught.value.code == -2


def test_simulator_scanner_is_listed(scanner_name):
    assert kx2.query_scanners() == [scanner_name]


def test_png_holds_the_pixels(tmp_path):
    image = numpy.arange(750 * 800, dtype=numpy.uint32).reshape(750, 800).astype(numpy.uint8)
    path = tmp_path / "image.png"
    kx2.save_png(path, image)
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, pos = {}, 8
    while pos < len(data):
        length, tag = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        assert struct.unpack(">I", data[pos + 8 + length:pos + 12 + length])[0] == zlib.crc32(tag + body)
        chunks[tag] = body
        pos += 12 + length
    assert struct.unpack(">II", chunks[b"IHDR"][:8]) == (800, 750)
    rows = numpy.frombuffer(zlib.decompress(chunks[b"IDAT"]), numpy.uint8).reshape(750, 801)
    assert not rows[:, 0].any()
    assert numpy.array_equal(rows[:, 1:], image)
    with pytest.raises(ValueError):
        kx2.save_png(path, image.astype(numpy.uint16))
