// A host in Go: writes a clip of ten frames, and reads each of them back. ClipInGo OUT
package main

// #cgo LDFLAGS: -lKrRiffUtilsC
// #include <KrRiffUtils/kr_riff.h>
import "C"

import (
	"bytes"
	"fmt"
	"os"
	"unsafe"
)

func must(result C.kr_result) {
	if result != C.KR_OK {
		fmt.Println(C.GoString(C.kr_error_text(result)))
		os.Exit(1)
	}
}

func main() {
	path := C.CString(os.Args[1])
	clip := C.kr_clip{width: 64, height: 48, bit_count: 24, frame_rate: C.KR_RATE_25, aspect_mode: 3}
	clip.size = C.uint32_t(unsafe.Sizeof(clip))
	clip.scan_mode = C.KR_SCAN_PROGRESSIVE
	var writer *C.kr_writer
	must(C.kr_writer_create(&writer))
	must(C.kr_writer_open(writer, path, &clip))
	for number := 0; number < 10; number++ {
		frame := bytes.Repeat([]byte{byte(number)}, 64*48*3)
		must(C.kr_writer_copy_video(writer, unsafe.Pointer(&frame[0]), C.uint32_t(len(frame))))
	}
	must(C.kr_writer_free(writer)) // closes the file: what is queued is written now

	var reader *C.kr_reader
	var index *C.kr_index
	var entries *C.kr_index_entry
	var count C.uint64_t
	must(C.kr_reader_create(&reader))
	must(C.kr_reader_open(reader, path))
	must(C.kr_reader_load_index(reader, 0, 0, &index))
	must(C.kr_index_entries(index, &entries, &count))
	for number, entry := range unsafe.Slice(entries, int(count)) {
		frame := make([]byte, entry.size)
		var copied C.uint32_t
		must(C.kr_reader_read(reader, entry.position, unsafe.Pointer(&frame[0]), entry.size, &copied))
		fmt.Printf("frame %d: %d bytes of %d\n", number, copied, frame[0])
	}
	must(C.kr_index_free(index))
	must(C.kr_reader_free(reader))
}
