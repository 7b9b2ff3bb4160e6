"""The results as a picture: an SVG that needs nothing beside itself and follows the reader's light or dark."""

from html import escape

STYLE = """
text { font: 12px system-ui, sans-serif; fill: #24292f }
.quiet { fill: #57606a }
.plain { fill: #4078c0 } .rules { fill: #8a6fb0 } .other { fill: #6a8f3c }
.axis { stroke: #d0d7de } .goal { stroke: #cf222e; stroke-width: 2 }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3 } .quiet { fill: #9198a1 } .axis { stroke: #3d444d } .goal { stroke: #ff7b72 }
  .plain { fill: #6ca4f0 } .rules { fill: #b79be0 } .other { fill: #9cc466 }
}"""

LEFT, WIDTH, LINE, TOP = 390, 920, 22, 70
LONGEST = 6.0  # a longer bar ends here; its number tells


def chart(results):
    """A bar for each result: the helper's cost over that of its floor, with a mark at the goal."""
    largest = min(LONGEST, max(4.0, *(max(result.ratio, result.goal or 0) for result in results)))
    scale = (WIDTH - LEFT - 60) / largest
    height = TOP + LINE * len(results) + 16
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
             'aria-label="CPU time of the helper over its floors">', f"<style>{STYLE}</style>",
             '<text x="12" y="24">CPU time of the helper, in multiples of its floor</text>',
             '<text x="12" y="44" class="quiet">red mark: the goal; the floors are told in performance.md</text>']
    for unit in range(int(largest) + 1):
        x = LEFT + unit * scale
        parts.append(f'<line class="axis" x1="{x:.1f}" x2="{x:.1f}" y1="{TOP - 8}" y2="{height - 10}"/>'
                     f'<text class="quiet" x="{x:.1f}" y="{TOP - 14}" text-anchor="middle">{unit}</text>')
    for index, result in enumerate(results):
        parts.append(bar(result, TOP + LINE * index, scale))
    return "\n".join([*parts, "</svg>"]) + "\n"


def bar(result, y, scale):
    kind = result.floor if result.floor in ("plain", "rules") else "other"
    end = LEFT + min(result.ratio, LONGEST) * scale
    label = escape(f"{result.stage}, {result.data} / {result.floor}")
    text = [f'<text x="{LEFT - 8}" y="{y + 13}" text-anchor="end">{label}</text>',
            f'<rect class="{kind}" x="{LEFT}" y="{y + 3}" width="{end - LEFT:.1f}" height="13" rx="2"/>',
            f'<text class="quiet" x="{end + 6:.1f}" y="{y + 14}">{result.ratio:.2f}</text>']
    if result.goal is not None:
        x = LEFT + result.goal * scale
        text.append(f'<line class="goal" x1="{x:.1f}" x2="{x:.1f}" y1="{y}" y2="{y + 19}"/>')
    return "".join(text)
