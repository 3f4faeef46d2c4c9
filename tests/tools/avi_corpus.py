"""AVI files as other programs make them: one recipe for each codec, sound format, rate and set of streams.

A recipe is a name and the commands that make the file. Commands run in the folder of the corpus; {out} is the file.
"""

import concurrent.futures
import os
import shutil
import subprocess

SECONDS = 2
PICTURE = f"testsrc2=s=176x144:r=25:d={SECONDS}"
SOUND = f"sine=440:r=48000:d={SECONDS}"
QUICK = ("mjpeg-pcm", "mpeg4-mp3", "x264-ac3", "huffyuv", "raw-bgr24", "raw-pal8", "dv-sound", "two-sounds", "tags",
         "late-sound", "mencoder-dup", "gst-jpeg-raw")  # what the short run takes

VIDEO = {  # encoders of ffmpeg, with options
    "mjpeg": "mjpeg -q:v 5", "mpeg4": "mpeg4 -g 12", "mpeg4-b": "mpeg4 -bf 2 -g 12", "mpeg4-xvidtag": "mpeg4 -vtag XVID",
    "msmpeg4v2": "msmpeg4v2", "msmpeg4": "msmpeg4", "xvid": "libxvid -g 10", "x264": "libx264 -preset ultrafast -g 10",
    "x264-b": "libx264 -preset veryfast -bf 2 -g 10", "huffyuv": "huffyuv", "ffvhuff": "ffvhuff",
    "utvideo": "utvideo", "utvideo-rgb": "utvideo -pix_fmt gbrp", "ffv1": "ffv1", "ffv1-3": "ffv1 -level 3 -slices 4",
    "zlib": "zlib", "zmbv": "zmbv -pix_fmt bgr0", "flashsv": "flashsv", "flv1": "flv", "h263": "h263 -s 176x144",
    "h263p": "h263p", "h261": "h261", "mpeg1": "mpeg1video", "mpeg2": "mpeg2video -bf 2", "cinepak": "cinepak",
    "vp8": "libvpx -deadline realtime -cpu-used 8", "vp9": "libvpx-vp9 -deadline realtime -cpu-used 8",
    "theora": "libtheora", "wmv1": "wmv1", "wmv2": "wmv2", "snow": "snow -strict -2", "svq1": "svq1", "asv1": "asv1",
    "asv2": "asv2", "ljpeg": "ljpeg -strict -2", "jpegls": "jpegls", "jpeg2000": "jpeg2000", "png": "png",
    "magicyuv": "magicyuv", "msvideo1": "msvideo1", "cljr": "cljr -strict -2", "dnxhd":
    "dnxhd -s 1280x720 -b:v 90M -pix_fmt yuv422p", "prores": "prores_ks", "vbn": "vbn", "speedhq": "speedhq",
    "cfhd": "cfhd -s 320x240", "hap": "hap", "x265": "libx265 -preset ultrafast", "qtrle": "qtrle", "amv": "amv -strict -1 -s 160x120",
    "v210": "v210", "v410": "v410", "r210": "r210", "ayuv": "ayuv", "y41p": "y41p", "targa": "targa", "bmp": "bmp",
    "raw-bgr24": "rawvideo -pix_fmt bgr24", "raw-bgra": "rawvideo -pix_fmt bgra", "raw-rgb555": "rawvideo -pix_fmt rgb555le",
    "raw-i420": "rawvideo -pix_fmt yuv420p", "raw-yuyv": "rawvideo -pix_fmt yuyv422", "raw-uyvy":
    "rawvideo -pix_fmt uyvy422", "raw-nv12": "rawvideo -pix_fmt nv12", "raw-gray": "rawvideo -pix_fmt gray",
    "raw-pal8": "rawvideo -pix_fmt pal8", "raw-odd": "rawvideo -pix_fmt bgr24 -s 175x141",
    "raw-flipped": "rawvideo -pix_fmt bgr24 -flipped_raw_rgb 1",
}
AUDIO = {
    "u8": "pcm_u8", "s16": "pcm_s16le", "s24": "pcm_s24le", "s32": "pcm_s32le", "f32": "pcm_f32le", "f64": "pcm_f64le",
    "alaw": "pcm_alaw", "mulaw": "pcm_mulaw", "adpcm-ms": "adpcm_ms", "adpcm-ima": "adpcm_ima_wav", "adpcm-swf":
    "adpcm_swf -ar 44100", "adpcm-yamaha": "adpcm_yamaha", "g726": "g726 -ar 8000 -b:a 32k", "mp2": "mp2", "mp3-cbr":
    "libmp3lame -b:a 128k", "mp3-vbr": "libmp3lame -q:a 4", "ac3": "ac3", "eac3": "eac3", "aac": "aac", "flac": "flac",
    "vorbis": "libvorbis", "wma1": "wmav1", "wma2": "wmav2", "dts": "dca -strict -2 -ac 2", "gsm": "libgsm_ms -ar 8000 -ac 1",
    "s16-6ch": "pcm_s16le -ac 6", "s16-mono": "pcm_s16le -ac 1 -ar 44100", "u8-odd": "pcm_u8 -ac 1 -ar 11025",
    "g723": "g723_1 -ar 8000 -ac 1 -b:a 6.3k", "opus": "libopus", "tta": "tta", "speex": "libspeex -ar 16000 -ac 1",
}
RATES = ("24000/1001", "30000/1001", "15", "12.5", "1", "120", "59.94", "7.3", "1000000/66667")


def ffmpeg(*words):
    return ["ffmpeg", "-v", "error", "-y", *" ".join(words).split(), "{out}"]


def lavfi(picture=PICTURE, sound=SOUND):
    return " ".join([f"-f lavfi -i {picture}"] * bool(picture) + [f"-f lavfi -i {sound}"] * bool(sound))


def recipes():
    """Each file's name and its commands."""
    found = {}
    for name, encoder in VIDEO.items():
        found[name] = [ffmpeg(lavfi(sound=None), "-c:v", encoder)]
    for name, encoder in AUDIO.items():
        found[f"sound-{name}"] = [ffmpeg(lavfi(), "-c:v mpeg4 -c:a", encoder)]
    for rate in RATES:
        picture = f"testsrc2=s=176x144:r={rate}:d={SECONDS + 1}"
        found[f"rate-{rate.replace('/', '-')}"] = [ffmpeg(lavfi(picture), "-c:v mjpeg -c:a pcm_s16le")]
    found.update({
        "mjpeg-pcm": [ffmpeg(lavfi(), "-c:v mjpeg -c:a pcm_s16le")],
        "mpeg4-mp3": [ffmpeg(lavfi(), "-c:v mpeg4 -bf 2 -c:a libmp3lame")],
        "x264-ac3": [ffmpeg(lavfi(), "-c:v libx264 -preset ultrafast -g 12 -c:a ac3")],
        "dv-sound": [ffmpeg(f"-f lavfi -i testsrc2=s=720x576:r=25:d=1 -f lavfi -i {SOUND}",
                            "-c:v dvvideo -aspect 16:9 -c:a pcm_s16le -shortest")],
        "dv-ntsc": [ffmpeg("-f lavfi -i testsrc2=s=720x480:r=30000/1001:d=1", "-c:v dvvideo -pix_fmt yuv411p")],
        "sound-alone": [ffmpeg(f"-f lavfi -i {SOUND}", "-c:a libmp3lame")],
        "two-sounds": [ffmpeg(lavfi(), f"-f lavfi -i sine=880:r=44100:d={SECONDS}", "-map 0 -map 1 -map 2 -c:v mpeg4 "
                              "-c:a:0 ac3 -c:a:1 pcm_s16le -metadata:s:a:0 language=eng -metadata:s:a:1 title=Zwei")],
        "three-sounds": [ffmpeg(lavfi(), "-map 0 -map 1 -map 1 -map 1 -c:v mjpeg -c:a:0 mp2 -c:a:1 libmp3lame "
                                "-c:a:2 pcm_u8")],
        "two-pictures": [ffmpeg(lavfi(sound=None), "-f lavfi -i testsrc=s=64x64:r=10:d=2", "-map 0 -map 1 -c:v:0 mpeg4 "
                                "-c:v:1 ffv1")],
        "tags": [ffmpeg(lavfi(), "-c:v mpeg4 -c:a libmp3lame -metadata title=Harbour -metadata artist=Someone -metadata "
                        "copyright=2019 -metadata date=2019-05-04 -metadata comment=first -metadata genre=Test "
                        "-metadata:s:v title=Main -timecode 01:02:03:04")],
        "wide": [ffmpeg(lavfi(), "-c:v mpeg4 -aspect 16:9 -c:a mp2")],
        "interlaced": [ffmpeg(lavfi(sound=None), "-c:v mpeg2video -flags +ildct+ilme -top 1 -vf setfield=tff")],
        "late-sound": [ffmpeg(f"-f lavfi -i {PICTURE} -itsoffset 0.5 -f lavfi -i {SOUND}", "-map 0 -map 1 -c:v mpeg4 "
                              "-c:a pcm_s16le")],
        "late-picture": [ffmpeg(f"-itsoffset 0.4 -f lavfi -i {PICTURE} -f lavfi -i {SOUND}", "-map 0 -map 1 -c:v mpeg4 "
                                "-c:a libmp3lame")],
        "gaps": [ffmpeg(f"-f lavfi -i {PICTURE},select='not(between(n\\,10\\,20))'", "-fps_mode vfr -c:v mpeg4")],
        "no-index-room": [ffmpeg(lavfi(), "-reserve_index_space 4096 -c:v mjpeg -c:a mp2")],
        "from-pipe": [["sh", "-c", f"ffmpeg -v error {lavfi()} -c:v mpeg4 -c:a mp2 -f avi - > {{out}}"]],
        "pal-changes": [ffmpeg(f"-f lavfi -i {PICTURE},palettegen=stats_mode=single -f lavfi -i {PICTURE}", "-filter_complex "
                               "[1][0]paletteuse=new=1 -c:v rawvideo -pix_fmt pal8")],
    })
    plain = ["mjpeg-source.avi"]
    source = [ffmpeg(lavfi(), "-c:v mjpeg -c:a pcm_s16le")[:-1] + ["{source}"]]

    def mencoder(*words):
        return [*source, ["mencoder", "-really-quiet", "{source}", *" ".join(words).split(), "-o", "{out}"]]

    found.update({
        "mencoder-lavc-mp3": mencoder("-ovc lavc -oac mp3lame"),
        "mencoder-lavc-mp3-cbr": mencoder("-ovc lavc -oac mp3lame -lameopts cbr:br=96"),
        "mencoder-copy": mencoder("-ovc copy -oac copy"),
        "mencoder-raw": mencoder("-ovc raw -vf format=bgr24 -oac pcm"),
        "mencoder-i420": mencoder("-ovc raw -vf format=i420 -oac copy"),
        "mencoder-xvid": mencoder("-ovc xvid -xvidencopts bitrate=400 -oac mp3lame"),
        "mencoder-x264": mencoder("-ovc x264 -oac lavc -lavcopts acodec=ac3"),
        "mencoder-dup": mencoder("-ovc lavc -ofps 50 -oac copy"),
        "mencoder-skip": mencoder("-ovc lavc -ofps 15 -oac mp3lame"),
        "mencoder-delay": mencoder("-ovc lavc -oac mp3lame -audio-delay 0.3"),
        "mencoder-info": mencoder("-ovc lavc -oac twolame -info name=Harbour:artist=Someone:copyright=2019"),
        "mencoder-vbr": mencoder("-ovc lavc -lavcopts vcodec=mpeg4:vmax_b_frames=2 -oac mp3lame -lameopts vbr=3"),
        "mencoder-silent": mencoder("-ovc lavc -nosound"),
        "mencoder-aac": mencoder("-ovc lavc -oac lavc -lavcopts acodec=mp2"),
    })

    def gst(picture, sound=None, mux="avimux"):
        line = ["gst-launch-1.0", "-q", mux, "name=mux", "!", "filesink", "location={out}"]
        line += f"videotestsrc num-buffers=50 ! video/x-raw,width=176,height=144,framerate=25/1 ! {picture} ! mux.".split()
        for one in sound or []:
            line += f"audiotestsrc num-buffers=86 samplesperbuffer=1024 ! audio/x-raw,rate=44100 ! {one} ! mux.".split()
        return [line]

    found.update({
        "gst-jpeg": gst("jpegenc"), "gst-jpeg-raw": gst("jpegenc", ["audioconvert"]),
        "gst-i420": gst("videoconvert ! video/x-raw,format=I420", ["audioconvert"]),
        "gst-yuy2": gst("videoconvert ! video/x-raw,format=YUY2"),
        "gst-bgr": gst("videoconvert ! video/x-raw,format=BGR"),
        "gst-jpeg-mp3": gst("jpegenc", ["audioconvert ! lamemp3enc"]),
        "gst-alaw": gst("jpegenc", ["audioconvert ! alawenc"]), "gst-mulaw": gst("jpegenc", ["audioconvert ! mulawenc"]),
        "gst-two-sounds": gst("jpegenc", ["audioconvert", "audioconvert ! lamemp3enc"]),
        "gst-small": gst("jpegenc", ["audioconvert"], "avimux bigfile=false"),
        "gst-png": gst("pngenc"), "gst-mp2": gst("jpegenc", ["audioconvert ! twolamemp2enc"]),
    })
    return found


def make(name, commands, folder):
    """Makes one file; the path, or None where this machine's programs cannot."""
    out = os.path.join(folder, name + ".avi")
    if os.path.exists(out):
        return out
    part, source = out + ".part.avi", out + ".source.avi"
    for command in commands:
        words = [word.replace("{out}", part).replace("{source}", source) for word in command]
        flat = [piece for word in words for piece in ([word] if command[0] == "sh" else word.split(" "))]
        if shutil.which(flat[0]) is None:
            return None
        done = subprocess.run(flat, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=900, check=False)
        if done.returncode != 0:
            break
    if os.path.exists(source):
        os.remove(source)
    if done.returncode == 0 and os.path.exists(part) and os.path.getsize(part) > 4000:
        os.rename(part, out)
        return out
    if os.path.exists(part):
        os.remove(part)
    print(f"{name}: not made: {done.stderr.decode('utf-8', 'replace').strip()[-200:]}")
    return None


def make_all(folder, names=None, jobs=None):
    """The files that could be made: name and path."""
    os.makedirs(folder, exist_ok=True)
    wanted = {name: commands for name, commands in recipes().items() if names is None or name in names}
    with concurrent.futures.ThreadPoolExecutor(jobs or os.cpu_count()) as pool:
        paths = pool.map(lambda item: (item[0], make(*item, folder)), wanted.items())
        return {name: path for name, path in paths if path}
