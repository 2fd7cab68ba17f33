"""JPEG."""

import struct
from pathlib import Path

from harness import (ADJUSTMENTS, add_format, check_inverted, checked, convert, exiftool, kept,
                     refused, require, require_equal, run, told)
from parts import after_end, jpeg_parts, jpeg_segments, with_jpeg_segments
from pictures import by_djpeg, ppm, profile
from tiff_parts import exif_with_maker_note

J = "JPEG"
add_format(J, "public.jpeg", by_djpeg, "djpeg", 2.0)

FRAME = (0xC0, 0xC1, 0xC2, 0xC9, 0xCA)
SEGMENTS = "segments read byte by byte"


def cjpeg(work, *options, name="photo.jpg", picture=None):
    return work.put(name, run("cjpeg", "-quality", "90", *options, stdin=picture or ppm()))


def coded(*options):
    return lambda work: cjpeg(work, *options)


def by_exiftool(*arguments):
    return lambda work: exiftool(cjpeg(work), *arguments)


def with_segments(*segments):
    return lambda work: work.put(
        "photo.jpg", with_jpeg_segments(cjpeg(work).read_bytes(), *segments))


def with_profile(surplus):
    return lambda work: exiftool(
        cjpeg(work), f"-icc_profile<={work.put('wide.icc', profile(surplus))}")


def icc(path):
    parts = jpeg_segments(0xE2, begins=b"ICC_PROFILE\0")(path)
    require(b"".join(part[1][14:] for part in parts)
            == run("exiftool", "-icc_profile", "-b", path), "exiftool reads another profile")
    return parts


kept(J, "ICC profile", "in one segment", with_profile(0), icc,
     made="exiftool", compared=SEGMENTS + ", exiftool")
kept(J, "ICC profile", "in three segments", with_profile(140000), icc,
     made="exiftool", compared=SEGMENTS + ", exiftool")
kept(J, "Exif", "", by_exiftool("-Artist=A. Photographer", "-ExposureTime=1/125", "-FNumber=5.6",
                                "-DateTimeOriginal=2020:02:03 04:05:06", "-UserComment=words"),
     told("-Exif:all"), made="exiftool", compared="exiftool")
for _order, _case in (("<", "Canon, little endian"), (">", "Canon, big endian")):
    kept(J, "maker notes", _case, with_segments((0xE1, b"Exif\0\0" + exif_with_maker_note(_order))),
         lambda path: (jpeg_segments(0xE1)(path), told("-MakerNotes:all", "-Exif:all")(path)),
         made="put together byte by byte", compared=SEGMENTS + ", exiftool")
kept(J, "GPS position", "", by_exiftool("-GPSLatitude=48.2", "-GPSLatitudeRef=N",
                                        "-GPSLongitude=16.37", "-GPSLongitudeRef=E"),
     told("-GPS:all"), made="exiftool", compared="exiftool")
kept(J, "orientation", "", by_exiftool("-n", "-Orientation=6"), told("-Orientation"),
     made="exiftool", compared="exiftool")
kept(J, "resolution", "of JFIF", by_exiftool("-JFIF:XResolution=300", "-JFIF:YResolution=240"),
     jpeg_segments(0xE0), made="exiftool", compared=SEGMENTS)
kept(J, "resolution", "of Exif", by_exiftool("-IFD0:XResolution=240", "-IFD0:YResolution=240"),
     told("-IFD0:XResolution", "-IFD0:YResolution"), made="exiftool", compared="exiftool")
kept(J, "XMP", "", by_exiftool("-XMP-dc:Title=A title", "-XMP-dc:Subject=one",
                               "-XMP-dc:Subject=two", "-XMP-xmp:Rating=4"),
     jpeg_segments(0xE1, begins=b"http://ns.adobe.com/xap/1.0/\0"), made="exiftool",
     compared=SEGMENTS)


def extended_xmp(work):
    words = work.put("words.txt", b"".join(b"word %d " % i for i in range(20000)))
    return exiftool(cjpeg(work), f"-XMP-photoshop:Instructions<={words}")


def extensions(path):
    parts = jpeg_segments(0xE1, begins=b"http://ns.adobe.com/xmp/extension/\0")(path)
    require(len(parts) >= 2, "there are no extensions")
    require(len(run("exiftool", "-s3", "-XMP-photoshop:Instructions", path)) > 200000,
            "exiftool does not read the extended text")
    return parts


kept(J, "extended XMP", "", extended_xmp, extensions, made="exiftool",
     compared=SEGMENTS + ", exiftool")
kept(J, "IPTC", "", by_exiftool("-IPTC:Keywords=harbour", "-IPTC:Keywords=evening",
                                "-IPTC:Caption-Abstract=A caption", "-IPTC:City=Trieste"),
     lambda path: (jpeg_segments(0xED)(path), told("-IPTC:all")(path)),
     made="exiftool", compared=SEGMENTS + ", exiftool")
kept(J, "image resources", "unknown ones too",
     with_segments((0xED, b"Photoshop 3.0\0" + b"8BIM\x04\x0a\0\0\0\0\0\x01\x01\0"
                    + b"8BIM\x0b\xb7\x03abc\0\0\0\x05hello\0")),
     jpeg_segments(0xED), made="put together byte by byte", compared=SEGMENTS)
kept(J, "comments", "two of them",
     lambda work: work.put("photo.jpg", run(
         "wrjpgcom", "-comment", "the second", stdin=run(
             "wrjpgcom", "-comment", "the first", cjpeg(work)))),
     lambda path: (jpeg_segments(0xFE)(path), run("rdjpgcom", path)),
     made="wrjpgcom", compared=SEGMENTS + ", rdjpgcom")
kept(J, "other segments", "APP7, APP11 and APP15, twice and empty",
     with_segments((0xE7, b"unheard of\0" + bytes(range(256))), (0xEB, b""), (0xE7, b"again"),
                   (0xEF, b"reserved")),
     jpeg_segments(0xE7, 0xEB, 0xEF), made="put together byte by byte", compared=SEGMENTS)
kept(J, "order of segments", "",
     lambda work: exiftool(with_segments((0xFE, b"a comment"), (0xE9, b"an APP9"))(work),
                           "-Artist=A", "-XMP-dc:Title=T", "-IPTC:City=C", "-Comment=last"),
     lambda path: [part for part in jpeg_parts(path.read_bytes())[0]
                   if 0xE0 <= part[0] <= 0xEF or part[0] == 0xFE],
     made="exiftool", compared=SEGMENTS)
kept(J, "bytes after the end", "", lambda work: work.put(
    "photo.jpg", cjpeg(work).read_bytes() + b"the maker's trailer\0\xff\x01"),
     after_end(lambda data: jpeg_parts(data)[1]), made="put together byte by byte",
     compared="byte by byte")


def quantisation(path):
    """Each component with the values of its table, whatever the tables' numbers."""
    tables, components = {}, []
    for marker, payload in jpeg_parts(path.read_bytes())[0]:
        if marker == 0xDB:
            at = 0
            while at < len(payload):
                wide, number = payload[at] >> 4, payload[at] & 15
                values = struct.unpack_from(">64H" if wide else "64B", payload, at + 1)
                tables[number] = values
                at += 1 + len(values) * (2 if wide else 1)
        if marker in FRAME:
            components = [payload[6 + 3 * i:9 + 3 * i] for i in range(payload[5])]
    return [(part[0], tables[part[2]]) for part in components]


def frame(path):
    """The kind of coding, depth, size, components and their sampling, without tables' numbers."""
    (marker, payload), = jpeg_segments(*FRAME)(path)
    return marker, payload[:6], [payload[6 + 3 * i:8 + 3 * i] for i in range(payload[5])]


def own_tables(slots, most):
    def make(work):
        rows = "\n".join(" ".join(str(3 + i * k % most) for i in range(64)) for k in (1, 5, 11))
        return cjpeg(work, "-quality", "50", "-qtables", work.put("tables.txt", rows.encode()),
                     "-qslots", slots)
    return make


kept(J, "quantisation tables", "of a quality", coded("-quality", "63"), quantisation,
     made="cjpeg", compared=SEGMENTS)
kept(J, "quantisation tables", "of one's own", own_tables("0,1,1", 7), quantisation,
     made="cjpeg", compared=SEGMENTS)
kept(J, "quantisation tables", "three, of 16 bits", own_tables("0,1,2", 300), quantisation,
     made="cjpeg", compared=SEGMENTS, tolerance=20)
for _case, _sample in (("4:4:4", "1x1"), ("4:2:2", "2x1"), ("4:2:0", "2x2"), ("4:4:0", "1x2"),
                       ("4:1:1", "4x1")):
    kept(J, "chroma sampling", _case, coded("-sample", _sample), frame, made="cjpeg",
         compared=SEGMENTS)
kept(J, "colour coding", "RGB instead of YCbCr", coded("-rgb"), frame, made="cjpeg",
     compared=SEGMENTS)


def scans(path):
    """The frame's kind and each scan: components, without tables' numbers, and bits."""
    def script(payload):
        count = payload[0]
        return [payload[1 + 2 * i] for i in range(count)], payload[1 + 2 * count:]
    parts = jpeg_parts(path.read_bytes())[0]
    return [marker if marker in FRAME else script(payload)
            for marker, payload in parts if marker in FRAME or marker == 0xDA]


def of_kind(marker, scan_count, read):
    """The reader of a file that must be of this kind."""
    def checked_read(path):
        found = scans(path)
        require(found[0] == marker, f"it is of the kind {found[0]:#x}")
        require(scan_count is None or len(found) - 1 == scan_count, f"{len(found) - 1} scans")
        return read(path)
    return checked_read


def script_of_work(work):
    return cjpeg(work, "-scans", work.put("scans.txt", b"0;\n1;\n2;\n"))


kept(J, "baseline or progressive", "baseline", coded(), of_kind(0xC0, 1, scans), made="cjpeg",
     compared=SEGMENTS)
kept(J, "baseline or progressive", "progressive, scan by scan", coded("-progressive"),
     of_kind(0xC2, 10, scans), made="cjpeg", compared=SEGMENTS)
kept(J, "baseline or progressive", "one scan a component", script_of_work,
     of_kind(0xC0, 3, scans), made="cjpeg", compared=SEGMENTS)
kept(J, "arithmetic coding", "", coded("-arithmetic"), of_kind(0xC9, 1, scans), made="cjpeg",
     compared=SEGMENTS)
kept(J, "arithmetic coding", "progressive", coded("-arithmetic", "-progressive"),
     of_kind(0xCA, None, scans), made="cjpeg", compared=SEGMENTS)
kept(J, "restart interval", "in units", coded("-restart", "3B"), jpeg_segments(0xDD),
     made="cjpeg", compared=SEGMENTS)
kept(J, "restart interval", "in rows", coded("-restart", "1"), jpeg_segments(0xDD),
     made="cjpeg", compared=SEGMENTS)


def small_picture(work, width=48, height=32):
    return work.put("small.jpg", run("cjpeg", "-quality", "85", stdin=ppm(width, height)))


def small_tags(path):
    """The thumbnail's directory but for how many bytes it has."""
    return [line for line in told("-IFD1:all")(path)
            if "ThumbnailLength" not in line and "Binary data" not in line]


def exif_thumbnail(work):
    original = exiftool(cjpeg(work), f"-ThumbnailImage<={small_picture(work)}")
    require(run("exiftool", "-b", "-ThumbnailImage", original), "there is no thumbnail")
    before = work.put("t.jpg", run("exiftool", "-b", "-ThumbnailImage", original))
    for adjustment in ADJUSTMENTS:
        copy = work.adjusted(adjustment, original)
        after = work.put("a.jpg", run("exiftool", "-b", "-ThumbnailImage", copy))
        if adjustment == "invert":
            check_inverted(by_djpeg(before), by_djpeg(after), 12)
        require_equal(small_tags(original), small_tags(copy), adjustment)
    return "shows the adjusted picture"


checked(J, "embedded thumbnail", "of Exif", exif_thumbnail, made="exiftool", compared="exiftool, djpeg")


def left_out(make, read, *still):
    def check(work):
        original = make(work)
        require(read(original), "the file made for this row does not have it")
        for adjustment in ADJUSTMENTS:
            copy = work.adjusted(adjustment, original)
            require(not read(copy), f"it is still there after kelvo {adjustment}")
            for other in still:
                require(other(original), "nothing that could be kept")
                require_equal(other(original), other(copy), adjustment)
        return "left out, as it shows the old colours"
    return check


checked(J, "embedded thumbnail", "of image resources", left_out(
    lambda work: exiftool(cjpeg(work), "-IPTC:City=Trieste",
                          f"-PhotoshopThumbnail<={small_picture(work)}"),
    lambda path: run("exiftool", "-b", "-PhotoshopThumbnail", path), told("-IPTC:City")),
    made="exiftool", compared="exiftool")
checked(J, "embedded thumbnail", "of JFIF", left_out(
    with_segments((0xE0, b"JFXX\0\x13\x02\x02" + bytes(range(12)))),
    jpeg_segments(0xE0, begins=b"JFXX\0"), jpeg_segments(0xE0, begins=b"JFIF\0")),
    made="put together byte by byte", compared=SEGMENTS)


def multi_picture(work, kind=0x00010002):
    """Two pictures with an index (CIPA DC-007)."""
    first, second = cjpeg(work).read_bytes(), small_picture(work).read_bytes()
    length = 8 + 2 + 3 * 12 + 4 + 32
    base = 2 + 4 + 4  # offsets count from the byte order mark
    if first[2:4] == b"\xff\xe0":
        base += 2 + struct.unpack_from(">H", first, 4)[0]
    whole = len(first) + 8 + length
    index = (b"II*\0" + struct.pack("<IH", 8, 3) + struct.pack("<HHI4s", 0xB000, 7, 4, b"0100")
             + struct.pack("<HHII", 0xB001, 4, 1, 2) + struct.pack("<HHII", 0xB002, 7, 32, 50)
             + bytes(4) + struct.pack("<IIIHH", 0x20030000, whole, 0, 0, 0)
             + struct.pack("<IIIHH", kind, len(second), whole - base, 0, 0))
    return work.put("photo.jpg", with_jpeg_segments(first, (0xE2, b"MPF\0" + index)) + second)


def second_picture(path):
    start, length = (int(run("exiftool", "-a", "-s3", f"-{tag}", path).split()[-1])
                     for tag in ("MPImageStart", "MPImageLength"))
    return Path(path).read_bytes()[start:start + length]


def both_pictures(path):
    second = path.with_name("second of " + path.name)
    second.write_bytes(second_picture(path))
    frames = by_djpeg(path) + by_djpeg(second)
    second.unlink()
    return frames


kept(J, "further pictures", "found by their index", multi_picture,
     told("-MPF0:NumberOfImages", "-MPImageType", "-MPImageFlags"), decode=both_pictures,
     made="put together byte by byte", compared="exiftool, djpeg")
refused(J, "further pictures", "of a kind that is not known",
        lambda work: multi_picture(work, 0x00040000), made="put together byte by byte")
refused(J, "further pictures", "without an index",
        lambda work: work.put("photo.jpg", cjpeg(work).read_bytes()
                              + small_picture(work).read_bytes()), made="cjpeg, twice")
gain_map = with_segments((
    0xE1, b'http://ns.adobe.com/xap/1.0/\0<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf='
    b'"http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" xmlns:hdrgm='
    b'"http://ns.adobe.com/hdr-gain-map/1.0/" hdrgm:Version="1.0" xmlns:dc='
    b'"http://purl.org/dc/elements/1.1/" dc:format="image/jpeg"/></rdf:RDF></x:xmpmeta>'))
refused(J, "gain map", "", gain_map, made="put together byte by byte")
kept(J, "gain map", "with --gain-map drop", gain_map, told("-XMP:all"),
     change=lambda old: [line for line in old if "hdrgm" not in line],
     options=("--gain-map", "drop"), outcome="left out, the other XMP kept",
     made="put together byte by byte", compared="exiftool")
refused(J, "colours", "grey", coded("-grayscale"), made="cjpeg")
refused(J, "colours", "CMYK", lambda work: work.put("photo.jpg", convert(
    "ppm:-", "-colorspace", "CMYK", "jpeg:-", stdin=ppm())), made="ImageMagick")
refused(J, "damage", "cut short", lambda work: work.put("photo.jpg", cjpeg(work).read_bytes()[:-300]),
        made="cjpeg, cut")
refused(J, "damage", "bits lost in the middle", lambda work: work.put("photo.jpg", (
    lambda data: data[:len(data) // 2] + data[len(data) // 2 + 40:])(
        cjpeg(work, "-restart", "1B").read_bytes())), made="cjpeg, cut")
