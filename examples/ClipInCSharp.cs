// A host in C#: writes a clip of ten frames, and reads each of them back. ClipInCSharp OUT
using System;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;

static class ClipInCSharp {
    struct Clip { // kr_clip
        public uint size, width, height, displayWidth, displayHeight, codec, bitCount, frameRate;
        public int scanMode;
        public uint aspectMode, audioChannels, audioRate, audioBits, reserved0, reserved1, reserved2;
    }

    const string Library = "KrRiffUtilsC";
    [DllImport(Library)] static extern IntPtr kr_error_text(int result);
    [DllImport(Library)] static extern int kr_writer_create(out IntPtr writer);
    [DllImport(Library)] static extern int kr_writer_open(IntPtr writer, byte[] path, ref Clip clip);
    [DllImport(Library)] static extern int kr_writer_copy_video(IntPtr writer, byte[] data, int length);
    [DllImport(Library)] static extern int kr_writer_free(IntPtr writer);
    [DllImport(Library)] static extern int kr_reader_create(out IntPtr reader);
    [DllImport(Library)] static extern int kr_reader_open(IntPtr reader, byte[] path);
    [DllImport(Library)] static extern int kr_reader_load_index(IntPtr reader, uint stream, ulong first, out IntPtr index);
    [DllImport(Library)] static extern int kr_index_entries(IntPtr index, out IntPtr entries, out ulong count);
    [DllImport(Library)] static extern int kr_index_free(IntPtr index);
    [DllImport(Library)] static extern int kr_reader_read(IntPtr reader, long at, byte[] buffer, int count, out uint copied);
    [DllImport(Library)] static extern int kr_reader_free(IntPtr reader);

    static void Must(int result) {
        if (result == 0) return;
        Console.WriteLine(Marshal.PtrToStringAnsi(kr_error_text(result)));
        Environment.Exit(1);
    }

    static void Main(string[] arguments) {
        var path = Encoding.UTF8.GetBytes(arguments[0] + "\0");
        var clip = new Clip { width = 64, height = 48, bitCount = 24, frameRate = 2, scanMode = 2, aspectMode = 3 };
        clip.size = (uint)Marshal.SizeOf(clip);
        const int length = 64 * 48 * 3;
        Must(kr_writer_create(out IntPtr writer));
        Must(kr_writer_open(writer, path, ref clip));
        for (int number = 0; number < 10; ++number)
            Must(kr_writer_copy_video(writer, Enumerable.Repeat((byte)number, length).ToArray(), length));
        Must(kr_writer_free(writer)); // closes the file: what is queued is written now

        Must(kr_reader_create(out IntPtr reader));
        Must(kr_reader_open(reader, path));
        Must(kr_reader_load_index(reader, 0, 0, out IntPtr index));
        Must(kr_index_entries(index, out IntPtr entries, out ulong count));
        for (int number = 0; number < (int)count; ++number) {
            // An entry has the position, 64 bits, then size and flags, 32 bits each.
            var frame = new byte[Marshal.ReadInt32(entries, 16 * number + 8)];
            Must(kr_reader_read(reader, Marshal.ReadInt64(entries, 16 * number), frame, frame.Length, out uint copied));
            Console.WriteLine($"frame {number}: {copied} bytes of {frame[0]}");
        }
        Must(kr_index_free(index));
        Must(kr_reader_free(reader));
    }
}
