#!/usr/bin/python3
"""grid_model.py FACES OUT.obj: a textured, gently curved grid of about FACES
triangles over shared positions and texture coordinates, as a layer's model
for tiv-host --model and send_memory."""
import math
import sys


def main():
    faces, out = int(sys.argv[1]), sys.argv[2]
    side = max(2, int(math.sqrt(faces / 2)) + 1)
    with open(out, "w") as f:
        f.write("# grid of %d x %d positions\n" % (side, side))
        for j in range(side):
            y = j / (side - 1)
            f.write("".join("v %.6f %.6f %.6f\n" % (i / (side - 1), y,
                                                     0.1 * math.sin(3 * i / side) * y)
                            for i in range(side)))
        for j in range(side):
            v = j / (side - 1)
            f.write("".join("vt %.6f %.6f\n" % (i / (side - 1), v) for i in range(side)))
        rows = []
        for j in range(side - 1):
            for i in range(side - 1):
                a = j * side + i + 1
                b, c, d = a + 1, a + side, a + side + 1
                rows.append("f %d/%d %d/%d %d/%d\nf %d/%d %d/%d %d/%d\n"
                            % (a, a, b, b, d, d, a, a, d, d, c, c))
            if len(rows) > 10000:
                f.write("".join(rows))
                rows = []
        f.write("".join(rows))
    print("%s: %d triangles" % (out, 2 * (side - 1) ** 2))


main()
