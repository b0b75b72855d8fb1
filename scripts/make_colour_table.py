#!/usr/bin/env python3
"""Makes the system colour table resources/syslib/syscolor.tbl and the default ramp
resources/datdefcolr.pal.

The graded ramp (indices 260 to 515) is built in the OKLab colour space (Ottosson 2020), in which
Euclidean distance approximates perceived colour difference:
  - lightness rises monotonically from dark to light, so the order of the levels reads the same
    in grey print and under every form of colour-vision deficiency;
  - the hue turns from blue-violet through blue, teal and green to yellow, staying on the
    blue-yellow axis that protan and deutan viewers keep;
  - chroma is cut where needed to stay inside sRGB, at constant lightness and hue;
  - the curve is resampled by arc length in OKLab so that neighbouring steps differ equally.
The diverging ramp (516 to 771) runs blue - near white - orange the same way, for residuals and
anomalies about a background.

Run from the project root: python3 scripts/make_colour_table.py
"""
import math
import os
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def oklab_to_linear_srgb(L, a, b):
    l_ = L + 0.3963377774 * a + 0.2158037573 * b
    m_ = L - 0.1055613458 * a - 0.0638541728 * b
    s_ = L - 0.0894841775 * a - 1.2914855480 * b
    l, m, s = l_ ** 3, m_ ** 3, s_ ** 3
    return (4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
            -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
            -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s)


def encode(c):
    c = min(max(c, 0.0), 1.0)
    return 12.92 * c if c <= 0.0031308 else 1.055 * c ** (1 / 2.4) - 0.055


def in_gamut(rgb, eps=1e-6):
    return all(-eps <= c <= 1 + eps for c in rgb)


def lch_cut(L, C, h):
    """OKLCh to OKLab with chroma reduced by bisection until the colour fits in sRGB."""
    hr = math.radians(h)
    if not in_gamut(oklab_to_linear_srgb(L, C * math.cos(hr), C * math.sin(hr))):
        lo, hi = 0.0, C
        for _ in range(40):
            mid = (lo + hi) / 2
            if in_gamut(oklab_to_linear_srgb(L, mid * math.cos(hr), mid * math.sin(hr))):
                lo = mid
            else:
                hi = mid
        C = lo
    return (L, C * math.cos(hr), C * math.sin(hr))


def lab_to_srgb8(lab):
    return tuple(int(round(encode(c) * 255)) for c in oklab_to_linear_srgb(*lab))


def srgb8_to_oklab(rgb):
    def lin(c):
        c /= 255.0
        return c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4
    r, g, b = (lin(c) for c in rgb)
    l = 0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b
    m = 0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b
    s = 0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b
    l_, m_, s_ = (math.copysign(abs(v) ** (1 / 3), v) for v in (l, m, s))
    return (0.2104542553 * l_ + 0.7936177850 * m_ - 0.0040720468 * s_,
            1.9779984951 * l_ - 2.4285922050 * m_ + 0.4505937099 * s_,
            0.0259040371 * l_ + 0.7827717662 * m_ - 0.8086757660 * s_)


def ramp(path, count, samples=4000):
    """`path(t)` gives OKLCh for t in [0, 1]; returns `count` colours equally spaced in OKLab
    along the curve as cut to the gamut."""
    ts = [i / samples for i in range(samples + 1)]
    cut = [lch_cut(*path(t)) for t in ts]
    arc = [0.0]
    for i in range(1, len(cut)):
        arc.append(arc[-1] + math.dist(cut[i], cut[i - 1]))
    out = []
    j = 0
    for k in range(count):
        target = arc[-1] * k / (count - 1)
        while j < len(arc) - 2 and arc[j + 1] < target:
            j += 1
        span = arc[j + 1] - arc[j]
        f = 0.0 if span == 0 else (target - arc[j]) / span
        t = ts[j] + f * (ts[j + 1] - ts[j])
        out.append(lab_to_srgb8(lch_cut(*path(t))))
    return out


def sequential(t):
    L = 0.30 + 0.65 * t                       # dark blue-violet to light yellow
    h = 295.0 - 190.0 * t                     # 295° violet-blue … 105° yellow
    C = 0.11 + 0.07 * t * t                   # richer towards the light end
    return L, C, h


def diverging_blue(t):
    u = 1 - t                                  # 1 at the dark blue end, 0 at the centre
    return 0.97 - 0.47 * u, 0.14 * u ** 0.8, 255.0


def diverging_orange(t):
    return 0.97 - 0.27 * t, 0.15 * t ** 0.8, 55.0


def base_colours():
    named = [
        (255, 255, 255), (0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0),
        (0, 255, 255), (255, 0, 255), (128, 0, 0), (0, 128, 0), (0, 0, 128), (128, 128, 0),
        (0, 128, 128), (128, 0, 128), (128, 128, 128), (192, 192, 192), (255, 128, 0),
    ]
    cube = [(r * 51, g * 51, b * 51) for r in range(6) for g in range(6) for b in range(6)]
    greys = [(round(k * 255 / 26),) * 3 for k in range(27)]
    return named + cube + greys


HEAD = """\
# Sarnoth system colour table: colour index -> RGB, read by the colour scale in place of the map
# library's colour table (InfoGetSysColor). Made by scripts/make_colour_table.py; edit that script
# rather than this file.
#
# Layout: one colour a line, "index red green blue", decimal, 0 to 255 each; '#' starts a comment;
# blank lines are ignored. Indices need not be contiguous; an index not listed reads as black.
#
#   0 - 16     named colours: 0 white, 1 black, 2 red, 3 green, 4 blue, 5 yellow, 6 cyan,
#              7 magenta, 8 maroon, 9 dark green, 10 navy, 11 olive, 12 teal, 13 purple,
#              14 grey, 15 silver, 16 orange
#   17 - 232   6 x 6 x 6 colour cube: 17 + 36 r + 6 g + b has the components 51 r, 51 g, 51 b
#   233 - 259  27 greys from black to white
#   260 - 515  the graded ramp, low to high (the colour panel's start index 260): 256 steps
#              equally spaced in the OKLab space, lightness rising monotonically from a dark
#              blue-violet through blue, teal and green to a light yellow. Its order survives
#              grey print and every common colour-vision deficiency. datdefcolr.pal samples it.
#   516 - 771  diverging ramp: dark blue - near white (643/644) - dark orange, the same way, for
#              values about a background
"""


def main():
    seq = ramp(sequential, 256)
    # Each arm of the diverging ramp is spaced on its own so that the centre falls at 643/644.
    div = ramp(diverging_blue, 128) + ramp(diverging_orange, 128)
    colours = base_colours() + seq + div
    assert len(colours) == 772
    os.makedirs(os.path.join(ROOT, "resources", "syslib"), exist_ok=True)
    with open(os.path.join(ROOT, "resources", "syslib", "syscolor.tbl"), "w", newline="\n") as f:
        f.write(HEAD)
        sections = {0: "named colours", 17: "colour cube", 233: "greys",
                    260: "graded ramp, low to high", 516: "diverging ramp"}
        for i, (r, g, b) in enumerate(colours):
            if i in sections:
                f.write("\n# %s\n" % sections[i])
            f.write("%d %d %d %d\n" % (i, r, g, b))
    # The default ramp: 64 indices spread over the graded ramp from its first to its last step.
    indices = [260 + round(k * 255 / 63) for k in range(64)]
    with open(os.path.join(ROOT, "resources", "datdefcolr.pal"), "wb") as f:
        f.write(struct.pack("<h", len(indices)))
        f.write(struct.pack("<%di" % len(indices), *indices))
    # Report the evenness and the lightness order of the graded ramp.
    lab = [srgb8_to_oklab(c) for c in seq]
    steps = [math.dist(lab[i], lab[i - 16]) for i in range(16, len(lab), 16)]
    mono = all(lab[i][0] > lab[i - 1][0] for i in range(1, len(lab)))
    print("graded ramp: first %s last %s, 16-step dE min %.4f max %.4f, lightness rising: %s"
          % (seq[0], seq[-1], min(steps), max(steps), mono))


if __name__ == "__main__":
    main()
