#!/usr/bin/python3
"""The plug-in bundles as the host receives them, read back by readers that are
not this project's: fontTools for the resource file, plistlib for the Info.plist.
Then tiv-host's refusals of damaged bundles, its scan of a Plug-ins folder, and
the install into the host's Plug-ins folder.

    plugin_bundle_test.py layout|refusals|install KEY=VALUE...
"""
import os
import plistlib
import shutil
import struct
import subprocess
import sys

try:
    from fontTools.misc.macRes import ResourceReader
except ImportError:
    ResourceReader = None  # the layout's other checks still run; the test then reports a skip

# The resource file of the verified worked example: "Send to Sculpting App",
# category "Tiv", version 1.0, AutoPluginMain for 'mi32' and 'mi64'.
EXAMPLE_PIPL = bytes.fromhex(
    "00 00 00 00 00 00 00 06 38 42 49 4D 6B 69 6E 64"
    "00 00 00 00 00 00 00 04 38 4C 49 5A 38 42 49 4D"
    "6E 61 6D 65 00 00 00 00 00 00 00 16 15 53 65 6E"
    "64 20 74 6F 20 53 63 75 6C 70 74 69 6E 67 20 41"
    "70 70 00 00 38 42 49 4D 63 61 74 67 00 00 00 00"
    "00 00 00 04 03 54 69 76 38 42 49 4D 76 65 72 73"
    "00 00 00 00 00 00 00 04 00 01 00 00 38 42 49 4D"
    "6D 69 33 32 00 00 00 00 00 00 00 0F 0E 41 75 74"
    "6F 50 6C 75 67 69 6E 4D 61 69 6E 00 38 42 49 4D"
    "6D 69 36 34 00 00 00 00 00 00 00 0F 0E 41 75 74"
    "6F 50 6C 75 67 69 6E 4D 61 69 6E 00")
EXAMPLE_RSRC = (bytes.fromhex("00 00 01 00 00 00 01 B0 00 00 00 B0 00 00 00 32") + bytes(240) +
                bytes.fromhex("00 00 00 AC") + EXAMPLE_PIPL + bytes.fromhex(
                    "00 00 01 00 00 00 01 B0 00 00 00 B0 00 00 00 32"
                    "00 00 00 00 00 00 00 00 00 1C 00 32 00 00 50 69"
                    "50 4C 00 00 00 0A 3E 80 FF FF 00 00 00 00 00 00"
                    "00 00"))

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAIL: " + what)


def pascal(text):
    return bytes([len(text)]) + text.encode()


def properties(pipl):
    """The PiPL property by property: (vendor, key, id, data); the padding must be zeros."""
    version, count = struct.unpack(">iI", pipl[:8])
    check(version == 0, "PiPL version %d" % version)
    at, found = 8, []
    for _ in range(count):
        vendor, key, pid, length = struct.unpack(">4s4siI", pipl[at:at + 16])
        padded = (length + 3) & ~3
        data = pipl[at + 16:at + 16 + length]
        check(len(data) == length, "property %r runs past the end" % key)
        check(pipl[at + 16 + length:at + 16 + padded] == bytes(padded - length),
              "padding of %r is not zeros" % key)
        found.append((vendor.decode(), key.decode(), pid, data))
        at += 16 + padded
    check(at == len(pipl), "PiPL has %d bytes after its properties" % (len(pipl) - at))
    return found


def read_pipl(rsrc_path):
    """The one resource of the file, through fontTools: it must be 'PiPL' 16000."""
    reader = ResourceReader(rsrc_path)
    check(reader.types == ["PiPL"], "resource types %r" % reader.types)
    resources = reader.get("PiPL") or []
    check([(r.id, r.name) for r in resources] == [(16000, None)],
          "PiPL resources %r" % [(r.id, r.name) for r in resources])
    reader.close()
    return resources[0].data if resources else b""


def run(command, **kw):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, **kw)


def bundlegen(args, contents, *extra):
    r = run([args["bundlegen"], *extra, contents])
    check(r.returncode == 0, "bundlegen %s: %s" % (" ".join(extra), r.stderr))


def test_layout(args):
    # The generator against the verified worked example, byte for byte.
    contents = os.path.join(args["tmp"], "Example.plugin", "Contents")
    bundlegen(args, contents, "--executable", "Example", "--name", "Send to Sculpting App",
              "--category", "Tiv")
    rsrc = os.path.join(contents, "Resources", "Example.rsrc")
    with open(rsrc, "rb") as f:
        check(f.read() == EXAMPLE_RSRC, "the worked example's resource file differs")
    if ResourceReader:
        check(read_pipl(rsrc) == EXAMPLE_PIPL, "fontTools reads another PiPL from the example")

    for exe, menu, identifier in (
            ("TivPhotoshopPlugIn", "Send to Morvel", "com.quendaric.tiv.photoshop"),
            ("TivPhotoshopPlugIn_Sandbox", "Send to Morvel (sandbox)",
             "com.quendaric.tiv.photoshop.sandbox")):
        bundle = os.path.join(args["plugins"], exe + ".plugin")
        files = sorted(os.path.relpath(os.path.join(d, f), bundle)
                       for d, _, names in os.walk(bundle) for f in names)
        check(files == ["Contents/Info.plist", "Contents/MacOS/" + exe, "Contents/PkgInfo",
                        "Contents/Resources/" + exe + ".rsrc"], "%s holds %r" % (exe, files))
        with open(os.path.join(bundle, "Contents", "PkgInfo"), "rb") as f:
            check(f.read() == b"8LIZ8BIM", exe + ": PkgInfo")
        with open(os.path.join(bundle, "Contents", "Info.plist"), "rb") as f:
            plist = plistlib.load(f)
        expected = {"CFBundleExecutable": exe, "CFBundleIdentifier": identifier,
                    "CFBundlePackageType": "8LIZ", "CFBundleSignature": "8BIM",
                    "CFBundleName": menu, "CFBundleInfoDictionaryVersion": "6.0",
                    "CFBundleVersion": "1.0", "CFBundleShortVersionString": "1.0"}
        for key, value in expected.items():
            check(plist.get(key) == value, "%s: %s is %r" % (exe, key, plist.get(key)))

        if not ResourceReader:
            continue
        pipl = read_pipl(os.path.join(bundle, "Contents", "Resources", exe + ".rsrc"))
        entry = pascal("AutoPluginMain")
        check(properties(pipl) == [
            ("8BIM", "kind", 0, b"8LIZ"), ("8BIM", "name", 0, pascal(menu)),
            ("8BIM", "catg", 0, pascal("Tiv")), ("8BIM", "vers", 0, b"\0\1\0\0"),
            ("8BIM", "mi32", 0, entry), ("8BIM", "mi64", 0, entry),
            ("8BIM", "enbl", 0, b"true\0")], exe + ": PiPL properties")


def host(args, *extra):
    return run([args["tiv_host"], *extra, "--caller", "PS Other"])


def make_bundle(args, folder, name, *options, damage=None):
    """A copy of the sandbox bundle's code with a property list of its own."""
    exe = "TivPhotoshopPlugIn_Sandbox"
    bundle = os.path.join(folder, name + ".plugin")
    os.makedirs(os.path.join(bundle, "Contents", "MacOS"))
    shutil.copy(os.path.join(args["plugins"], exe + ".plugin", "Contents", "MacOS", exe),
                os.path.join(bundle, "Contents", "MacOS", exe))
    bundlegen(args, os.path.join(bundle, "Contents"), "--executable", exe, "--name", name,
              *options)
    rsrc = os.path.join(bundle, "Contents", "Resources", exe + ".rsrc")
    if damage:
        with open(rsrc, "rb") as f:
            data = f.read()
        data = damage(data)
        if data is None:
            os.remove(rsrc)
        else:
            with open(rsrc, "wb") as f:
                f.write(data)
    return bundle


def test_refusals(args):
    real = os.path.join(args["plugins"], "TivPhotoshopPlugIn_Sandbox.plugin")
    listing = host(args, "--plugin", real, "--list").stdout
    own = "mi32" if "'mi32'  \"AutoPluginMain\"  (this host's code)" in listing else "mi64"
    other = "mi64" if own == "mi32" else "mi32"

    def patched(at, value):
        return lambda d: d[:at] + value + d[at + len(value):]

    # name, bundlegen options, damage to the resource file, exit status, text shown.
    # A bundle that runs exits 1: called by another caller, the plug-in sends nothing.
    cases = [
        ("NoResourceFile", [], lambda d: None, 2, "TivPhotoshopPlugIn_Sandbox.rsrc is missing"),
        ("NoPiPL", [], lambda d: d[:d.rfind(b"PiPL")] + b"STR#" + d[d.rfind(b"PiPL") + 4:], 2,
         "no 'PiPL' resource in Contents/Resources/TivPhotoshopPlugIn_Sandbox.rsrc"),
        ("Filter", ["--kind", "8BFM"], None, 2, "kind is '8BFM', not automation ('8LIZ')"),
        ("OtherArchitecture", ["--code", other + "=AutoPluginMain"], None, 2,
         "no code property for this host's architecture ('%s')" % own),
        ("NoSuchEntry", ["--code", own + "=AutoPluginMainX"], None, 2,
         "has no AutoPluginMainX, the entry point its PiPL names"),
        ("Truncated", [], lambda d: d[:300], 2, "resource file is damaged"),
        ("CountBeyondSize", [], patched(0x108, b"\x7f\xff\xff\xff"), 2,
         "PiPL is damaged: 2147483647 properties cannot fit"),
        ("DataBeyondFile", [], patched(0x100, b"\xff\xff\xff\xf0"), 2,
         "resource file is damaged"),
        ("OwnEntryOnly", ["--code", other + "=Missing", "--code", own + "=AutoPluginMain"],
         None, 1, 'AutoPluginMain("PS Other", "Do It")'),
    ]
    for name, options, damage, status, shown in cases:
        bundle = make_bundle(args, os.path.join(args["tmp"], "cases"), name, *options,
                             damage=damage)
        r = host(args, "--plugin", bundle)
        check(r.returncode == status, "%s: exit %d\n%s%s" % (name, r.returncode, r.stdout, r.stderr))
        check(shown in r.stdout + r.stderr, "%s: no %r in\n%s%s" % (name, shown, r.stdout, r.stderr))
        if status == 2:
            check(("cannot use the plug-in %s: " % bundle) in r.stderr, name + ": bundle not named")

    # A Plug-ins folder: subfolders are scanned, "~" names skipped, others refused
    # with their reason, the product bundle (which works outside the build tree)
    # passed over, and the first loadable one runs. Named, the product bundle is
    # refused: it never sends where this editor looks.
    folder = os.path.join(args["tmp"], "Plug-ins")
    product = os.path.join(folder, "Automate", "TivPhotoshopPlugIn.plugin")
    shutil.copytree(os.path.join(args["plugins"], "TivPhotoshopPlugIn.plugin"), product)
    make_bundle(args, folder, "~Disabled", "--kind", "8BFM")
    make_bundle(args, os.path.join(folder, "Filters"), "Wrong", "--kind", "8BFM")
    make_bundle(args, os.path.join(folder, "Other"), "Good")
    listed = host(args, "--plugin", folder, "--list")
    check(listed.returncode == 0 and "3 bundles" in listed.stdout
          and 'name\'  "Good"' in listed.stdout and "~Disabled" not in listed.stdout
          and "skipped   %s/Filters/Wrong.plugin: its PiPL's kind" % folder in listed.stdout,
          "folder listing:\n" + listed.stdout + listed.stderr)
    outside = "it writes to the exchange root %s" % args["product_root"]
    ran = host(args, "--plugin", folder)
    check(ran.returncode == 1 and 'AutoPluginMain("PS Other"' in ran.stdout
          and "skipped   %s: %s, outside the build tree" % (product, outside) in ran.stdout
          and "Good.plugin\n" in ran.stdout,
          "folder run:\n" + ran.stdout + ran.stderr)
    named = host(args, "--plugin", product)
    check(named.returncode == 2 and "tiv-host: cannot use the plug-in %s: %s, not to " % (
        product, outside) in named.stderr, "product bundle named:\n" + named.stderr)


def test_install(args):
    destdir = os.path.join(args["tmp"], "root")
    env = dict(os.environ, DESTDIR=destdir)
    r = run([args["cmake"], "--install", args["build"], "--component", "TivPhotoshopPlugIn"],
            env=env)
    check(r.returncode == 0, "install: " + r.stdout + r.stderr)
    folder = destdir + args["host_plugins"]
    built = os.path.join(args["plugins"], "TivPhotoshopPlugIn.plugin")
    installed = os.path.join(folder, "TivPhotoshopPlugIn.plugin")
    for d, _, names in os.walk(built):
        for f in names:
            source = os.path.join(d, f)
            copy = os.path.join(installed, os.path.relpath(source, built))
            same = os.path.exists(copy) and open(source, "rb").read() == open(copy, "rb").read()
            check(same and os.stat(source).st_mode == os.stat(copy).st_mode,
                  "installed copy of %s" % source)
    listed = host(args, "--plugin", folder, "--list")
    check(listed.returncode == 0 and 'name\'  "Send to Morvel"' in listed.stdout,
          "installed bundle listing:\n" + listed.stdout + listed.stderr)


def main():
    part = sys.argv[1]
    args = dict(a.split("=", 1) for a in sys.argv[2:])
    shutil.rmtree(args["tmp"], ignore_errors=True)
    os.makedirs(args["tmp"])
    {"layout": test_layout, "refusals": test_refusals, "install": test_install}[part](args)
    print("%s: %d failures" % (part, len(failures)))
    if not failures and part == "layout" and not ResourceReader:
        print("skipped: the resource files were not read back: no fontTools (python3-fonttools)")
        return 77  # CTest's skip
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
