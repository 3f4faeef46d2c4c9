// A host in Rust: writes a clip of ten frames, and reads each of them back. ClipInRust OUT
use std::ffi::{CStr, CString};
use std::os::raw::{c_char, c_void};
use std::{env, mem, process, ptr};

#[repr(C)] #[derive(Default)]
struct Clip { // kr_clip
    size: u32, width: u32, height: u32, display_width: u32, display_height: u32, codec: u32, bit_count: u32, frame_rate: u32,
    scan_mode: i32, aspect_mode: u32, audio_channels: u32, audio_rate: u32, audio_bits: u32, reserved: [u32; 3],
}
#[repr(C)] struct Entry { position: u64, size: u32, _flags: u32 } // kr_index_entry
type Handle = *mut c_void;
#[link(name = "KrRiffUtilsC")]
extern "C" {
    fn kr_error_text(result: i32) -> *const c_char;
    fn kr_writer_create(out: *mut Handle) -> i32;
    fn kr_writer_open(writer: Handle, path: *const c_char, clip: *const Clip) -> i32;
    fn kr_writer_copy_video(writer: Handle, data: *const u8, length: u32) -> i32;
    fn kr_writer_free(writer: Handle) -> i32;
    fn kr_reader_create(out: *mut Handle) -> i32;
    fn kr_reader_open(reader: Handle, path: *const c_char) -> i32;
    fn kr_reader_load_index(reader: Handle, stream: u32, first: u64, out: *mut Handle) -> i32;
    fn kr_index_entries(index: Handle, entries: *mut *const Entry, count: *mut u64) -> i32;
    fn kr_index_free(index: Handle) -> i32;
    fn kr_reader_read(reader: Handle, position: u64, buffer: *mut u8, count: u32, copied: *mut u32) -> i32;
    fn kr_reader_free(reader: Handle) -> i32;
}

unsafe fn must(result: i32) {
    if result != 0 {
        println!("{}", CStr::from_ptr(kr_error_text(result)).to_string_lossy());
        process::exit(1);
    }
}

fn main() {
    let path = CString::new(env::args().nth(1).expect("a path")).expect("a path without zeros");
    let size = mem::size_of::<Clip>() as u32;
    let clip = Clip { size, width: 64, height: 48, bit_count: 24, frame_rate: 2, scan_mode: 2, aspect_mode: 3, ..Default::default() };
    let (mut writer, mut reader, mut index, mut entries, mut count) = (ptr::null_mut(), ptr::null_mut(), ptr::null_mut(), ptr::null(), 0);
    unsafe {
        must(kr_writer_create(&mut writer));
        must(kr_writer_open(writer, path.as_ptr(), &clip));
        (0..10).for_each(|number| must(kr_writer_copy_video(writer, [number; 64 * 48 * 3].as_ptr(), 64 * 48 * 3)));
        must(kr_writer_free(writer)); // closes the file: what is queued is written now
        must(kr_reader_create(&mut reader));
        must(kr_reader_open(reader, path.as_ptr()));
        must(kr_reader_load_index(reader, 0, 0, &mut index));
        must(kr_index_entries(index, &mut entries, &mut count));
        for number in 0..count as usize {
            let entry = &*entries.add(number);
            let (mut frame, mut copied) = (vec![0u8; entry.size as usize], 0);
            must(kr_reader_read(reader, entry.position, frame.as_mut_ptr(), entry.size, &mut copied));
            println!("frame {}: {} bytes of {}", number, copied, frame[0]);
        }
        must(kr_index_free(index));
        must(kr_reader_free(reader));
    }
}
