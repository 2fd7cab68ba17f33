// What a JPEG file must cost at the least: libjpeg-turbo alone decodes it strip by strip and
// encodes it again with the same quantisation tables and sampling. No adjustment, no metadata.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

#include <jpeglib.h>

namespace {

constexpr JDIMENSION kStripRows = 16;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// libjpeg-turbo's own error handler ends the program with a message.
void transcode(std::FILE* in, std::FILE* out) {
  jpeg_error_mgr errors;
  jpeg_decompress_struct source;
  source.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&source);
  jpeg_stdio_src(&source, in);
  jpeg_read_header(&source, TRUE);
  source.out_color_space = JCS_RGB;
  jpeg_start_decompress(&source);

  jpeg_compress_struct target;
  target.err = &errors;
  jpeg_create_compress(&target);
  jpeg_stdio_dest(&target, out);
  target.image_width = source.output_width;
  target.image_height = source.output_height;
  target.input_components = 3;
  target.in_color_space = JCS_RGB;
  jpeg_set_defaults(&target);
  for (int i = 0; i < NUM_QUANT_TBLS; ++i) {
    if (source.quant_tbl_ptrs[i] == nullptr) continue;
    if (target.quant_tbl_ptrs[i] == nullptr) {
      target.quant_tbl_ptrs[i] = jpeg_alloc_quant_table(reinterpret_cast<j_common_ptr>(&target));
    }
    std::copy_n(source.quant_tbl_ptrs[i]->quantval, DCTSIZE2, target.quant_tbl_ptrs[i]->quantval);
  }
  for (int i = 0; i < std::min(source.num_components, target.num_components); ++i) {
    target.comp_info[i].h_samp_factor = source.comp_info[i].h_samp_factor;
    target.comp_info[i].v_samp_factor = source.comp_info[i].v_samp_factor;
    target.comp_info[i].quant_tbl_no = source.comp_info[i].quant_tbl_no;
  }
  if (source.progressive_mode != 0) jpeg_simple_progression(&target);
  jpeg_start_compress(&target, TRUE);

  const std::size_t rowBytes = std::size_t{source.output_width} * 3;
  std::vector<JSAMPLE> strip(rowBytes * kStripRows);
  std::vector<JSAMPROW> rows(kStripRows);
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = strip.data() + rowBytes * i;
  while (source.output_scanline < source.output_height) {
    JDIMENSION count = 0;
    while (count < kStripRows && source.output_scanline < source.output_height) {
      count += jpeg_read_scanlines(&source, &rows[count], kStripRows - count);
    }
    jpeg_write_scanlines(&target, rows.data(), count);
  }
  jpeg_finish_compress(&target);
  jpeg_destroy_compress(&target);
  jpeg_finish_decompress(&source);
  jpeg_destroy_decompress(&source);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc % 2 == 0) {
    std::fputs("usage: bare_jpeg IN OUT [IN OUT]...\n", stderr);
    return 2;
  }
  for (int i = 1; i < argc; i += 2) {
    const File in(std::fopen(argv[i], "rb"));
    File out(std::fopen(argv[i + 1], "wb"));
    if (!in || !out) {
      std::fputs("bare_jpeg: cannot open the files\n", stderr);
      return 1;
    }
    transcode(in.get(), out.get());
    if (std::fclose(out.release()) != 0) return 1;
  }
  return 0;
}
