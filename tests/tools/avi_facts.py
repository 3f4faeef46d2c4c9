"""What other programs find in an AVI file: packets with their bytes, times and flags, and all parameters and tags."""

import hashlib
import json
import os
import subprocess
import tempfile

# What depends on where data lie, or on the size of the file.
PLACES = {"pos", "bit_rate", "max_bit_rate", "filename", "probe_score", "nb_read_packets"}
# Encoded_Library of the file comes from MEncoder's fillers, which no copy carries.
DESCRIBED_PLACES = {"FileSize", "OverallBitRate", "StreamSize", "HeaderSize", "DataSize", "FooterSize",
                    "File_Modified_Date", "File_Modified_Date_Local"}
PLAYED_PLACES = {"ID_FILENAME"}


def output(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          timeout=900, check=False)
    return done.stdout


def without_places(value):
    if isinstance(value, dict):
        return {key: without_places(member) for key, member in value.items() if key not in PLACES}
    return [without_places(member) for member in value] if isinstance(value, list) else value


def probed(path):
    """ffprobe's streams, tags and packets; each packet with the MD5 of its bytes."""
    text = output("ffprobe", "-v", "error", "-show_streams", "-show_format", "-show_packets", "-show_data_hash", "md5",
                  "-of", "json", path)
    facts = without_places(json.loads(text or b"{}"))
    facts.get("format", {}).pop("size", None)
    return facts


def hashed_packets(path):
    """ffmpeg's list of the packets of all streams: times, sizes and hashes."""
    return output("ffmpeg", "-v", "error", "-i", path, "-map", "0", "-c", "copy", "-f", "framehash", "-").decode()


def described(path):
    """mediainfo's fields of each track, without those that depend on sizes and places."""
    tracks = json.loads(output("mediainfo", "--Output=JSON", path) or b"{}").get("media", {}).get("track", [])
    return {f"{number} {name}": value for number, track in enumerate(tracks) for name, value in track.items()
            if name not in DESCRIBED_PLACES and (number, name) != (0, "Encoded_Library")}


def played(path):
    """What MPlayer knows of a file, and the MD5 of its decoded frames and sound."""
    with tempfile.TemporaryDirectory(prefix="kravi-played-") as folder:
        frames, sound = (os.path.join(folder, name) for name in ("frames", "sound"))
        same = os.path.join(folder, "file.avi")  # what it shows of some files depends on their names
        os.symlink(os.path.abspath(path), same)
        said = output("mplayer", "-noconfig", "all", "-nolirc", "-nosub", "-benchmark", "-quiet", "-identify", "-vo",
                      f"md5sum:outfile={frames}", "-ao", f"pcm:fast:file={sound}", same).decode("utf-8", "replace")
        facts = dict(line.split("=", 1) for line in said.splitlines() if line.startswith("ID_") and "=" in line)
        facts = {name: value for name, value in facts.items() if name not in PLAYED_PLACES}
        for name in (frames, sound):
            if os.path.exists(name):
                with open(name, "rb") as file:
                    facts[os.path.basename(name)] = hashlib.md5(file.read()).hexdigest()
        return facts




def differences(source, copy):
    """Words for what differs between two answers of probed()."""
    found = []
    if len(source.get("packets", [])) != len(copy.get("packets", [])):
        found.append(f"{len(source.get('packets', []))} packets became {len(copy.get('packets', []))}")
    for number, (old, new) in enumerate(zip(source.get("packets", []), copy.get("packets", []))):
        if old != new:
            found.append(f"packet {number}: " + changed(old, new))
            break
    for number, (old, new) in enumerate(zip(source.get("streams", []), copy.get("streams", []))):
        if old != new:
            found.append(f"stream {number}: " + changed(old, new))
    if len(source.get("streams", [])) != len(copy.get("streams", [])):
        found.append("another number of streams")
    if source.get("format") != copy.get("format"):
        found.append("file: " + changed(source.get("format", {}), copy.get("format", {})))
    return found


def changed(old, new):
    keys = [key for key in {**old, **new} if old.get(key) != new.get(key)]
    return ", ".join(f"{key} {old.get(key)} -> {new.get(key)}" for key in sorted(keys))
