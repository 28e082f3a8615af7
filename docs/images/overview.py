#!/usr/bin/env python3
# SPDX-License-Identifier: MIT

"""Draws overview.svg: docs/images/overview.py > docs/images/overview.svg."""

STYLE = """
  text { font: 14px sans-serif; fill: #1f2328 }
  .small { font-size: 12px; fill: #59636e }
  .box { fill: #f6f8fa; stroke: #8c959f }
  .inner { fill: #ddf4ff; stroke: #54aeff }
  .line { fill: none; stroke: #59636e; stroke-width: 1.5 }
  .dashed { stroke-dasharray: 5 4 }
  @media (prefers-color-scheme: dark) {
    text { fill: #f0f6fc }
    .small { fill: #9198a1 }
    .box { fill: #151b23; stroke: #656c76 }
    .inner { fill: #0c2d6b; stroke: #388bfd }
    .line { stroke: #9198a1 }
  }
"""

HEAD = """<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 760 292" role="img">
<title>One process owns the list; over D-Bus its partners show and change it</title>
<!-- Drawn by overview.py. -->
<style>{style}</style>
<marker id="arrow" viewBox="0 0 8 8" refX="7" refY="4" markerWidth="8" markerHeight="8"
  orient="auto-start-reverse"><path class="line" d="M1 1 L7 4 L1 7"/></marker>"""


def box(x, y, width, height, kind="box"):
    print(f'<rect class="{kind}" x="{x}" y="{y}" width="{width}" height="{height}" rx="6"/>')


def text(x, y, words, kind=None, anchor="middle"):
    style = f' class="{kind}"' if kind else ""
    print(f'<text{style} x="{x}" y="{y}" text-anchor="{anchor}">{words}</text>')


def line(path, kind="line", start=False):
    both = ' marker-start="url(#arrow)"' if start else ""
    print(f'<path class="{kind}" d="{path}" marker-end="url(#arrow)"{both}/>')


def owner():
    box(10, 60, 220, 172)
    text(120, 82, "the owner")
    text(120, 100, "a launcher, a head unit, applistd", "small")
    box(30, 112, 180, 34, "inner")
    text(120, 134, "your list")
    line("M120 147 V185", start=True)
    box(30, 186, 180, 34, "inner")
    text(120, 208, "LocalAppListModel")


def partner(y, name, explanation, model=None):
    box(530, y, 220, 68)
    text(640, y + 24, name)
    if model is None:
        text(640, y + 46, explanation, "small")
    else:
        box(550, y + 32, 180, 28, "inner")
        text(640, y + 51, model)


def bus():
    box(362, 60, 36, 172)
    print('<text transform="translate(385 146) rotate(-90)" text-anchor="middle">D-Bus</text>')
    text(296, 122, "what happens", "small")
    line("M230 130 H360")
    text(296, 190, "select, add,", "small")
    text(296, 206, "replace, remove", "small")
    line("M360 168 H232")


def main():
    print(HEAD.format(style=STYLE))
    owner()
    bus()
    text(640, 16, "its partners", "small")
    partner(24, "a screen", None, "RemoteAppListModel")
    partner(112, "applistctl", "for people and scripts")
    partner(200, "any D-Bus library", "busctl, gdbus, Python")
    line("M400 98 L528 66", start=True)
    line("M400 146 H528", start=True)
    line("M400 194 L528 226", start=True)
    line("M170 58 C230 22 420 14 528 40", "line dashed", start=True)
    text(330, 16, "past the bus, on one machine", "small")
    print("</svg>")


if __name__ == "__main__":
    main()
