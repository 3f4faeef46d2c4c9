"""What other programs find in an AVI file: packets with their bytes, times and flags, and all parameters and tags."""

import hashlib
import json
import subprocess

# What depends on where data lie, or on the size of the file.
PLACES = {"pos", "bit_rate", "max_bit_rate", "filename", "probe_score", "nb_read_packets"}


def output(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          timeout=120, check=False)
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


def sound_hashes(facts):
    """MD5 of each stream's packets one after the other."""
    sums = {}
    for packet in facts.get("packets", []):
        sums.setdefault(packet["stream_index"], hashlib.md5()).update(packet["data_hash"].encode())
    return {stream: one.hexdigest() for stream, one in sums.items()}


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
