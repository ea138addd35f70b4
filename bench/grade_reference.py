#!/usr/bin/env python3
"""The gamut test's engine work done the plain way, from a script: one
cmsDoTransform call per colour and per world, 265,302 calls for the
51 x 51 x 51 grid of the connection space.

    grade_reference.py PROFILE LAB_PROFILE INTENT > FIELDS

The two worlds are built as the colour library builds them (the profile
to the Lab profile and back, the same intent at both ends, no black point
compensation, full adaptation, no precalculated tables, no cache, colours
as doubles), and colours cross the same boundary: 16-bit fields turned to
the engine's values and back to the nearest field. Writes the fields of
each returned colour (three unsigned 16-bit words in machine order, grid
order) for the benchmark to count against the tolerance.
"""
import ctypes
import sys
from array import array

lcms = ctypes.CDLL("liblcms2.so.2")
lcms.cmsOpenProfileFromFile.restype = ctypes.c_void_p
lcms.cmsOpenProfileFromFile.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
lcms.cmsGetColorSpace.argtypes = [ctypes.c_void_p]
lcms.cmsGetColorSpace.restype = ctypes.c_uint32
lcms.cmsCreateExtendedTransform.restype = ctypes.c_void_p
lcms.cmsCreateExtendedTransform.argtypes = [
    ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p,
    ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_uint32,
    ctypes.c_uint32]
lcms.cmsDoTransform.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32]
lcms.cmsDoTransform.restype = None

NOOPTIMIZE, NOCACHE = 0x0100, 0x0040
# Device spaces: engine pixel type, channels, whether 0..100 (inks) or 0..1.
SPACES = {
    b"RGB ": (4, 3, False), b"CMY ": (5, 3, True), b"CMYK": (6, 4, True),
    b"GRAY": (3, 1, False),
}
PT_LAB = 10
AB_SPAN = 255.996


def double_format(pixel_type, channels):
    return (1 << 22) | (pixel_type << 16) | (channels << 3)


def field(value):
    if value != value or value == float("-inf"):  # NaN
        return 0
    if value == float("inf"):
        return 65535
    r = round(value)  # to nearest, ties to even, as the library's boundary
    return 0 if not r >= 0 else (65535 if r >= 65535 else int(r))


def main():
    path, lab_path, intent = sys.argv[1].encode(), sys.argv[2].encode(), int(sys.argv[3])
    profile = lcms.cmsOpenProfileFromFile(path, b"r")
    lab = lcms.cmsOpenProfileFromFile(lab_path, b"r")
    if not profile or not lab:
        sys.exit("a profile doesn't open")
    space = lcms.cmsGetColorSpace(profile).to_bytes(4, "big")
    if space not in SPACES:
        sys.exit("no layout for the space %r" % space)
    pixel_type, channels, inks = SPACES[space]
    device_format = double_format(pixel_type, channels)
    lab_format = double_format(PT_LAB, 3)

    def world(first, second):
        handles = (ctypes.c_void_p * 2)(first, second)
        bpc = (ctypes.c_int * 2)(0, 0)
        intents = (ctypes.c_uint32 * 2)(intent, intent)
        adaptation = (ctypes.c_double * 2)(1.0, 1.0)
        in_format = lab_format if first == lab else device_format
        out_format = device_format if first == lab else lab_format
        t = lcms.cmsCreateExtendedTransform(None, 2, handles, bpc, intents, adaptation, None, 0,
                                            in_format, out_format, NOOPTIMIZE | NOCACHE)
        if not t:
            sys.exit("the engine refuses the world")
        return t

    to_lab, from_lab = world(profile, lab), world(lab, profile)
    lab_in, lab_out = (ctypes.c_double * 3)(), (ctypes.c_double * 3)()
    dev = (ctypes.c_double * channels)()
    scale = 100.0 if inks else 1.0
    # The grid's engine values, made once: 51 levels of 1310 a field.
    levels_l = [i * 1310 * 100.0 / 65535.0 for i in range(51)]
    levels_ab = [i * 1310 * AB_SPAN / 65535.0 - 128.0 for i in range(51)]
    do = lcms.cmsDoTransform
    out = array("H")
    append = out.append
    for L in levels_l:
        lab_in[0] = L
        for a in levels_ab:
            lab_in[1] = a
            for b in levels_ab:
                lab_in[2] = b
                do(from_lab, lab_in, dev, 1)
                dev[:] = [field(v * 65535.0 / scale) * scale / 65535.0 for v in dev]
                do(to_lab, dev, lab_out, 1)
                append(field(lab_out[0] * 65535.0 / 100.0))
                append(field((lab_out[1] + 128.0) * 65535.0 / AB_SPAN))
                append(field((lab_out[2] + 128.0) * 65535.0 / AB_SPAN))
    sys.stdout.buffer.write(out.tobytes())


main()
