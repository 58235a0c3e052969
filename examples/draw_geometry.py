#!/usr/bin/env python3
"""Draws how a panorama lies in a round picture: draw_geometry.py > docs/images/geometry.svg"""
from math import cos, pi, sin

WIDTH, HEIGHT = 12, 4  # of the panorama
ANGLE = 30  # of column 0, degrees clockwise from up
CENTRE, INNER, RADIUS = (150, 195), 36, 112
GREY, LIGHT, FIRST, RIM, INK = "#8a8f98", "#d5d9e0", "#d9480f", "#1864ab", "#212529"
parts = []


def line(a, b, colour, width=1.0, more=""):
    parts.append(f'<line x1="{a[0]:.1f}" y1="{a[1]:.1f}" x2="{b[0]:.1f}" y2="{b[1]:.1f}" '
                 f'stroke="{colour}" stroke-width="{width}" {more}/>')


def dot(at, colour, radius=3.2):
    parts.append(f'<circle cx="{at[0]:.1f}" cy="{at[1]:.1f}" r="{radius}" fill="{colour}"/>')


def ring(radius, colour, width=1.0, more=""):
    parts.append(f'<circle cx="{CENTRE[0]}" cy="{CENTRE[1]}" r="{radius:.1f}" fill="none" '
                 f'stroke="{colour}" stroke-width="{width}" {more}/>')


def box(x, y, width, height, more):
    parts.append(f'<rect x="{x}" y="{y}" width="{width}" height="{height}" {more}/>')


def text(x, y, words, colour=INK, anchor="start", size=13):
    parts.append(f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}" text-anchor="{anchor}" '
                 f'font-size="{size}">{words}</text>')


def place(column, row):
    """Of a pixel of the panorama; columns go clockwise."""
    angle = (ANGLE + 360 * column / WIDTH) * pi / 180
    distance = INNER + (RADIUS - INNER) * row / HEIGHT
    return CENTRE[0] + distance * sin(angle), CENTRE[1] - distance * cos(angle)


def colour_of(column):
    return FIRST if column == 0 else GREY


def round_picture():
    text(20, 32, "the round picture", size=15)
    box(20, 65, 260, 260, f'fill="none" stroke="{LIGHT}"')
    for row in range(HEIGHT):
        ring(INNER + (RADIUS - INNER) * row / HEIGHT, LIGHT)
    ring(RADIUS, RIM, 1.6, 'stroke-dasharray="5 4"')
    line(CENTRE, (CENTRE[0], CENTRE[1] - RADIUS - 14), INK, 1, 'stroke-dasharray="2 3"')
    text(CENTRE[0] - 6, CENTRE[1] - RADIUS - 18, "0&#176;", anchor="end")
    for column in range(WIDTH):
        line(place(column, 0), place(column, HEIGHT), colour_of(column), 1.6 if column == 0 else 0.7)
        for row in range(HEIGHT):
            dot(place(column, row), colour_of(column))
    start, end = place(0, HEIGHT + 1), place(1.6, HEIGHT + 1)
    reach = RADIUS + (RADIUS - INNER) / HEIGHT
    parts.append(f'<path d="M {start[0]:.1f} {start[1]:.1f} A {reach} {reach} 0 0 1 {end[0]:.1f} '
                 f'{end[1]:.1f}" fill="none" stroke="{FIRST}" stroke-width="1.6" '
                 'marker-end="url(#arrow)"/>')
    text(start[0] - 14, start[1] - 12, "column 0, at --angle 30", FIRST)
    text(end[0] + 6, end[1] + 22, "cw", FIRST)
    for at in ((-5, 0, 5, 0), (0, -5, 0, 5)):
        line((CENTRE[0] + at[0], CENTRE[1] + at[1]), (CENTRE[0] + at[2], CENTRE[1] + at[3]), INK, 1.4)
    text(20, 348, "--inner-radius: row 0, --radius: the dashed rim")


def panorama():
    left, top, step = 350, 105, 22
    text(left - 10, 32, "the panorama, W x H", size=15)
    box(left - 11, top - 11, step * WIDTH, step * HEIGHT, f'fill="none" stroke="{LIGHT}"')
    for column in range(WIDTH):
        for row in range(HEIGHT):
            dot((left + column * step, top + row * step), colour_of(column))
    line((left, top - 11), (left, top + step * HEIGHT - 11), FIRST, 1.6)
    line((left + step * WIDTH, top - 11), (left + step * WIDTH, top + step * HEIGHT - 11), FIRST, 1.6,
         'stroke-dasharray="5 4"')
    line((left - 11, top + step * HEIGHT), (left + step * WIDTH - 11, top + step * HEIGHT), RIM, 1.6,
         'stroke-dasharray="5 4"')
    text(left - 8, top - 18, "column 0", FIRST)
    text(left + step * WIDTH + 8, top - 18, "column W: column 0 again", FIRST, "end")
    text(left + step * WIDTH / 2, top + step * HEIGHT + 19, "row H: the rim", RIM, "middle")
    y = top + step * HEIGHT + 60
    for words in ("column i lies at angle + arc &#183; i / W,",
                  "row j at inner + (outer &#8722; inner) &#183; j / H,",
                  "with --ground bottom at j = H &#8722; 1 &#8722; row"):
        text(left - 10, y, words)
        y += 20


def pixels():
    left, top, step = 690, 105, 30
    text(left - 30, 32, "pixels lie at whole coordinates", size=15)
    for column in range(4):
        for row in range(4):
            at = (left + column * step, top + row * step)
            box(at[0] - step / 2, at[1] - step / 2, step, step, f'fill="none" stroke="{LIGHT}"')
            dot(at, GREY)
        text(left + column * step, top - 22, str(column), GREY, "middle")
        text(left - 24, top + column * step + 4, str(column), GREY, "middle")
    dot((left + 2 * step, top + 2 * step), RIM, 5)
    line((left, top), (left + 2 * step, top), RIM, 1.6)
    line((left + 2 * step, top), (left + 2 * step, top + 2 * step), RIM, 1.6)
    text(left - 30, top + 4 * step + 28, "the centre of 4 x 4, W/2,H/2,")
    text(left - 30, top + 4 * step + 48, "is the pixel 2,2")


round_picture()
panorama()
pixels()
print('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 900 365" font-family="sans-serif">')
print(f'<defs><marker id="arrow" viewBox="0 0 8 8" refX="6" refY="4" markerWidth="7" '
      f'markerHeight="7" orient="auto"><path d="M 0 0 L 8 4 L 0 8 z" fill="{FIRST}"/></marker></defs>')
print('<rect width="900" height="365" rx="8" fill="white"/>')
print("\n".join(parts))
print("</svg>")
