"""Every format's rows, in the order of the table. A further format is a module of its own here."""

import jpeg_rows
import png_rows
import tiff_rows
import gif_rows
import webp_rows
import bmp_rows
import heif_rows
import jxl_rows
import jpeg2000_rows
import photoshop_rows
