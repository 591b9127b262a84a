#!/usr/bin/env python3
"""Draws the installer's three pictures from geometry alone (standard library
only, so that anyone can rebuild them byte for byte):

  error.png     125 x 125 RGBA  red disc with a white cross
  question.png  256 x 256 RGBA  blue disc with a white question mark
  side.bmp      158 x 286       8-bit palette, bottom-up: the wizard's side banner
  Setup.icns    16 to 512 px    the application's icon for Finder and the Dock:
                                a blue disc with a white arrow into a tray

Run: python3 resources/make_pictures.py [output folder]
"""
import math
import os
import struct
import sys
import zlib

SS = 4  # supersampling per axis for smooth edges


def clamp(v, lo=0.0, hi=1.0):
    return lo if v < lo else hi if v > hi else v


def mix(a, b, t):
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(len(a)))


def over(dst, src, alpha):
    """Source-over of an RGB colour with coverage alpha onto an RGBA pixel."""
    r, g, b, a = dst
    out_a = alpha + a * (1 - alpha)
    if out_a <= 0:
        return (0.0, 0.0, 0.0, 0.0)
    f = a * (1 - alpha)
    return ((src[0] * alpha + r * f) / out_a, (src[1] * alpha + g * f) / out_a,
            (src[2] * alpha + b * f) / out_a, out_a)


def hexcol(h):
    return tuple(int(h[i:i + 2], 16) / 255.0 for i in (1, 3, 5))


# ---------------------------------------------------------------- shapes (SDF)

def sd_circle(x, y, cx, cy, r):
    return math.hypot(x - cx, y - cy) - r


def sd_segment(x, y, ax, ay, bx, by, r):
    px, py, vx, vy = x - ax, y - ay, bx - ax, by - ay
    h = clamp((px * vx + py * vy) / (vx * vx + vy * vy))
    return math.hypot(px - vx * h, py - vy * h) - r


def sd_arc(x, y, cx, cy, radius, a0, a1, r):
    """Distance to a circular arc from angle a0 to a1 (radians, y down), stroked r."""
    ang = math.atan2(y - cy, x - cx)
    lo, hi = a0, a1
    while ang < lo:
        ang += 2 * math.pi
    if ang <= hi:
        return abs(math.hypot(x - cx, y - cy) - radius) - r
    ends = [(cx + radius * math.cos(a), cy + radius * math.sin(a)) for a in (a0, a1)]
    return min(math.hypot(x - ex, y - ey) for ex, ey in ends) - r


def sd_round_rect(x, y, x0, y0, x1, y1, rad):
    cx, cy = (x0 + x1) / 2, (y0 + y1) / 2
    hx, hy = (x1 - x0) / 2 - rad, (y1 - y0) / 2 - rad
    dx, dy = abs(x - cx) - hx, abs(y - cy) - hy
    return math.hypot(max(dx, 0), max(dy, 0)) + min(max(dx, dy), 0) - rad


def coverage(fn, x, y):
    """Fraction of the pixel (x, y) inside fn's shape (fn < 0 inside)."""
    inside = 0
    for j in range(SS):
        for i in range(SS):
            if fn(x + (i + 0.5) / SS, y + (j + 0.5) / SS) < 0:
                inside += 1
    return inside / (SS * SS)


def fast_coverage(fn, x, y):
    """Coverage, sampled only near an edge: the centre's distance decides the rest."""
    d = fn(x + 0.5, y + 0.5)
    if d > 1.0:
        return 0.0
    if d < -1.0:
        return 1.0
    return coverage(fn, x, y)


# ---------------------------------------------------------------- encoders

def png_bytes(width, height, rgba_rows):
    raw = b"".join(b"\x00" + bytes(row) for row in rgba_rows)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def bmp8_bytes(width, height, palette, index_rows):
    """index_rows top to bottom; written bottom-up as BMP stores them."""
    stride = (width + 3) & ~3
    pixels = b"".join(bytes(index_rows[y]) + b"\x00" * (stride - width) for y in range(height - 1, -1, -1))
    pal = b"".join(struct.pack("<BBBB", b, g, r, 0) for r, g, b in palette)
    pal += b"\x00" * (1024 - len(pal))
    offset = 14 + 40 + 1024
    header = struct.pack("<2sIHHI", b"BM", offset + len(pixels), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 8, 0, len(pixels), 2835, 2835, 256, 0)
    return header + info + pal + pixels


def to_rgba_rows(img, width, height):
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            r, g, b, a = img[y * width + x]
            row += [round(clamp(r) * 255), round(clamp(g) * 255), round(clamp(b) * 255), round(clamp(a) * 255)]
        rows.append(row)
    return rows


# ---------------------------------------------------------------- icons

def disc_icon(size, top, bottom, glyph):
    """A disc with a vertical gradient, a soft shadow, a thin light rim and a white glyph."""
    c = size / 2
    radius = size * 0.44
    img = []
    for y in range(size):
        for x in range(size):
            px = (0.0, 0.0, 0.0, 0.0)
            # shadow: a blurred disc a little below
            d = math.hypot(x + 0.5 - c, y + 0.5 - c - size * 0.025) - radius
            shadow = 0.35 * clamp(1 - (d + size * 0.01) / (size * 0.04))
            if shadow > 0:
                px = over(px, (0, 0, 0), shadow)
            cov = fast_coverage(lambda u, v: sd_circle(u, v, c, c, radius), x, y)
            if cov > 0:
                t = clamp((y - (c - radius)) / (2 * radius))
                col = mix(top, bottom, t)
                # a gentle highlight on the upper half
                hl = clamp(1 - math.hypot(x - c, y - (c - radius * 0.55)) / (radius * 0.9)) * 0.18
                col = mix(col, (1, 1, 1), hl)
                px = over(px, col, cov)
                rim = fast_coverage(lambda u, v: abs(sd_circle(u, v, c, c, radius - size * 0.012)) - size * 0.008, x, y)
                if rim > 0:
                    px = over(px, mix(top, (1, 1, 1), 0.45), rim * 0.7 * cov)
            g = fast_coverage(glyph, x, y)
            if g > 0:
                px = over(px, (1, 1, 1), g)
            img.append(px)
    return png_bytes(size, size, to_rgba_rows(img, size, size))


def error_icon():
    s = 125
    c, arm, w = s / 2, s * 0.17, s * 0.055

    def cross(x, y):
        return min(sd_segment(x, y, c - arm, c - arm, c + arm, c + arm, w),
                   sd_segment(x, y, c - arm, c + arm, c + arm, c - arm, w))

    return disc_icon(s, hexcol("#e5534b"), hexcol("#b3261e"), cross)


def question_icon():
    s = 256
    c = s / 2
    w = s * 0.052
    rad = s * 0.115
    hook_cy = c - s * 0.085

    def mark(x, y):
        # the hook: an arc from the left round over the top to the lower right,
        # then a short stroke down to the stem, then the dot
        arc = sd_arc(x, y, c, hook_cy, rad, math.radians(180), math.radians(405), w)
        ex, ey = c + rad * math.cos(math.radians(45)), hook_cy + rad * math.sin(math.radians(45))
        neck = sd_segment(x, y, ex, ey, c, c + s * 0.065, w)
        stem = sd_segment(x, y, c, c + s * 0.065, c, c + s * 0.075, w)
        dot = sd_circle(x, y, c, c + s * 0.205, w * 1.2)
        return min(arc, neck, stem, dot)

    return disc_icon(s, hexcol("#4a90e2"), hexcol("#1f5fae"), mark)


# ---------------------------------------------------------------- side picture

def side_rgb(width, height):
    top, bottom = hexcol("#0d3b66"), hexcol("#1c8fa8")
    img = []
    for y in range(height):
        for x in range(width):
            t = y / (height - 1)
            col = mix(top, bottom, t * t * (3 - 2 * t))
            # a faint diagonal light across the upper left
            col = mix(col, (1, 1, 1), 0.10 * clamp(1 - (x + y * 0.6) / 220))
            img.append(list(col))

    def paint(fn, colour, alpha):
        for y in range(height):
            for x in range(width):
                cov = fast_coverage(fn, x, y)
                if cov > 0:
                    p = img[y * width + x]
                    a = cov * alpha
                    for i in range(3):
                        p[i] = p[i] * (1 - a) + colour[i] * a

    white = (1.0, 1.0, 1.0)
    # large soft rings in the background
    paint(lambda u, v: abs(sd_circle(u, v, 150, 40, 95)) - 1.2, white, 0.10)
    paint(lambda u, v: abs(sd_circle(u, v, 150, 40, 70)) - 1.2, white, 0.08)
    paint(lambda u, v: abs(sd_circle(u, v, -10, 270, 80)) - 1.2, white, 0.08)

    # a stack of three template sheets, the front one with lines of text
    for k, (dx, dy, a) in enumerate(((22, -22, 0.35), (11, -11, 0.6), (0, 0, 1.0))):
        x0, y0 = 44 + dx, 112 + dy
        paint(lambda u, v, x0=x0, y0=y0: sd_round_rect(u, v, x0 + 2, y0 + 3, x0 + 62, y0 + 83, 5),
              (0, 0, 0), 0.18 * a)
        paint(lambda u, v, x0=x0, y0=y0: sd_round_rect(u, v, x0, y0, x0 + 60, y0 + 80, 5), white, 0.92 * a)
    blue = hexcol("#1f6f9f")
    for i, length in enumerate((40, 34, 38, 26)):
        yy = 128 + i * 12
        paint(lambda u, v, yy=yy, length=length: sd_segment(u, v, 54, yy, 54 + length, yy, 1.6), blue, 0.85)

    # a round badge with a downward arrow: "installing"
    green = hexcol("#2e9e5b")
    paint(lambda u, v: sd_circle(u, v, 104, 196, 21), (0, 0, 0), 0.20)
    paint(lambda u, v: sd_circle(u, v, 104, 194, 20), green, 1.0)
    paint(lambda u, v: sd_circle(u, v, 104, 194, 20) if sd_circle(u, v, 104, 194, 17.5) > 0 else 1, white, 0.9)
    paint(lambda u, v: min(sd_segment(u, v, 104, 183, 104, 202, 2.6),
                           sd_segment(u, v, 96, 195, 104, 203, 2.6),
                           sd_segment(u, v, 112, 195, 104, 203, 2.6)), white, 1.0)

    # a light band at the foot
    paint(lambda u, v: sd_segment(u, v, 20, 250, 138, 250, 0.8), white, 0.25)
    return img


def app_icon(s):
    c, w = s / 2, s * 0.05

    def arrow_into_tray(x, y):
        return min(sd_segment(x, y, c, c - s * 0.2, c, c + s * 0.1, w),
                   sd_segment(x, y, c - s * 0.12, c - s * 0.01, c, c + s * 0.11, w),
                   sd_segment(x, y, c + s * 0.12, c - s * 0.01, c, c + s * 0.11, w),
                   sd_segment(x, y, c - s * 0.19, c + s * 0.2, c + s * 0.19, c + s * 0.2, w))

    return disc_icon(s, hexcol("#1c8fa8"), hexcol("#0d3b66"), arrow_into_tray)


def icns_bytes():
    """An .icns file: the "icns" header, then one PNG per size, each under
    its type code (PNG data is allowed for every one of these types)."""
    chunks = b""
    for kind, size in ((b"icp4", 16), (b"icp5", 32), (b"icp6", 64), (b"ic07", 128),
                       (b"ic08", 256), (b"ic09", 512)):
        data = app_icon(size)
        chunks += kind + struct.pack(">I", 8 + len(data)) + data
    return b"icns" + struct.pack(">I", 8 + len(chunks)) + chunks


def median_cut(pixels, count):
    boxes = [list(range(len(pixels)))]
    while len(boxes) < count:
        best, best_range, best_axis = None, -1, 0
        for bi, box in enumerate(boxes):
            if len(box) < 2:
                continue
            for axis in range(3):
                vals = [pixels[i][axis] for i in box]
                rng = max(vals) - min(vals)
                if rng > best_range:
                    best, best_range, best_axis = bi, rng, axis
        if best is None or best_range <= 0:
            break
        box = sorted(boxes.pop(best), key=lambda i: pixels[i][best_axis])
        half = len(box) // 2
        boxes += [box[:half], box[half:]]
    palette = []
    for box in boxes:
        n = len(box)
        palette.append(tuple(sum(pixels[i][a] for i in box) / n for a in range(3)))
    return palette


def nearest(palette, col, cache):
    key = tuple(round(v * 255) for v in col)
    hit = cache.get(key)
    if hit is None:
        hit = min(range(len(palette)),
                  key=lambda k: sum((palette[k][a] - col[a]) ** 2 for a in range(3)))
        cache[key] = hit
    return hit


def side_bmp():
    width, height = 158, 286
    img = side_rgb(width, height)
    palette = median_cut([tuple(p) for p in img], 256)
    cache = {}
    rows = []
    # Floyd-Steinberg dithering keeps the gradient free of bands
    err = [[0.0, 0.0, 0.0] for _ in range(width * height)]
    for y in range(height):
        row = []
        for x in range(width):
            i = y * width + x
            want = [clamp(img[i][a] + err[i][a]) for a in range(3)]
            k = nearest(palette, want, cache)
            row.append(k)
            e = [want[a] - palette[k][a] for a in range(3)]
            for dx, dy, f in ((1, 0, 7 / 16), (-1, 1, 3 / 16), (0, 1, 5 / 16), (1, 1, 1 / 16)):
                xx, yy = x + dx, y + dy
                if 0 <= xx < width and yy < height:
                    t = err[yy * width + xx]
                    for a in range(3):
                        t[a] += e[a] * f
        rows.append(row)
    pal = [tuple(round(clamp(v) * 255) for v in p) for p in palette]
    return bmp8_bytes(width, height, pal, rows)


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    for name, maker in (("error.png", error_icon), ("question.png", question_icon), ("side.bmp", side_bmp),
                        ("Setup.icns", icns_bytes)):
        with open(os.path.join(out, name), "wb") as f:
            f.write(maker())


if __name__ == "__main__":
    main()
