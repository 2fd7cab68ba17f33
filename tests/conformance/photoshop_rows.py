"""Photoshop documents."""

from harness import FORMATS, Format, convert, refused
from pictures import ppm

P = "Photoshop"
FORMATS[P] = Format(P, "com.adobe.photoshop-image", None, "", 0)
refused(P, "documents", "", lambda work: work.put("photo.psd", convert("-", "psd:-", stdin=ppm())),
        made="ImageMagick")
