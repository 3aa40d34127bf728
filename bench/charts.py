"""Charts of time over size, as SVG that is the same for the same figures."""

import math

WIDTH, HEIGHT = 640, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 110, 40, 50
COLOURS = {"kx": "#c0392b", "sqlite": "#2e6da4", "opml": "#3a8a4d", "raw": "#555555"}


def power_of_ten(exponent):
    """A time of that many powers of ten nanoseconds."""
    units = ["ns", "µs", "ms", "s"]
    unit = min(exponent // 3, len(units) - 1)
    return f"{10 ** (exponent - 3 * unit)} {units[unit]}"


class Chart:
    """Both axes are logarithmic: equal cost for each row is a line of slope one."""

    def __init__(self, title, what, series):
        self.title = title
        self.what = what
        self.series = series  # engine -> [(size, nanoseconds)]
        points = [point for line in series.values() for point in line]
        self.x_range = (min(math.log10(x) for x, _ in points), max(math.log10(x) for x, _ in points))
        self.y_range = (math.floor(min(math.log10(y) for _, y in points)),
                        math.ceil(max(math.log10(y) for _, y in points)))

    def x(self, size):
        low, high = self.x_range
        return LEFT + (math.log10(size) - low) / (high - low) * (WIDTH - LEFT - RIGHT)

    def y(self, nanoseconds):
        low, high = self.y_range
        share = (math.log10(nanoseconds) - low) / (high - low)
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    def axes(self):
        right, bottom = WIDTH - RIGHT, HEIGHT - BOTTOM
        for exponent in range(self.y_range[0], self.y_range[1] + 1):
            y = self.y(10.0 ** exponent)
            yield f'<line x1="{LEFT}" y1="{y:.1f}" x2="{right}" y2="{y:.1f}" stroke="#dddddd"/>'
            yield (f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">'
                   f"{power_of_ten(exponent)}</text>")
        sizes = sorted({size for line in self.series.values() for size, _ in line})
        for size in sizes:
            x = self.x(size)
            yield f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{bottom}" stroke="#dddddd"/>'
            yield f'<text x="{x:.1f}" y="{bottom + 18}" text-anchor="middle">{size:,}</text>'
        middle = (LEFT + right) / 2
        yield f'<text x="{middle:.1f}" y="{HEIGHT - 10}" text-anchor="middle">{self.what}</text>'

    def label_places(self):
        """Where the lines' names stand: beside their ends, at least a text's height apart."""
        ends = sorted((self.y(line[-1][1]), engine) for engine, line in self.series.items())
        place = 0.0
        for y, engine in ends:
            place = max(y, place + 15)
            yield engine, place

    def lines(self):
        for engine, line in self.series.items():
            colour = COLOURS[engine]
            points = " ".join(f"{self.x(size):.1f},{self.y(time):.1f}" for size, time in line)
            yield f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>'
            for size, time in line:
                yield f'<circle cx="{self.x(size):.1f}" cy="{self.y(time):.1f}" r="3" fill="{colour}"/>'
        for engine, y in self.label_places():
            yield (f'<text x="{WIDTH - RIGHT + 10}" y="{y + 4:.1f}" fill="{COLOURS[engine]}"'
                   f' font-weight="bold">{engine}</text>')

    def svg(self):
        parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}"'
            f' viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="13">',
            f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
            f'<text x="{LEFT}" y="24" font-size="16" font-weight="bold">{self.title}</text>',
            *self.axes(), *self.lines(), "</svg>", "",
        ]
        return "\n".join(parts)
