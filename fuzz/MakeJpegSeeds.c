// Writes the JPEG seeds of fuzz/corpus/picture (cc MakeJpegSeeds.c -ljpeg; run in that folder).
#include <stdio.h>
#include <jpeglib.h>
static void write(const char* name, int w, int h, int comps, J_COLOR_SPACE cs, int progressive, int orientation) {
  FILE* f = fopen(name, "wb"); struct jpeg_compress_struct c; struct jpeg_error_mgr e;
  c.err = jpeg_std_error(&e); jpeg_create_compress(&c); jpeg_stdio_dest(&c, f);
  c.image_width = w; c.image_height = h; c.input_components = comps; c.in_color_space = cs;
  jpeg_set_defaults(&c); jpeg_set_quality(&c, 80, TRUE); if (progressive) jpeg_simple_progression(&c);
  jpeg_start_compress(&c, TRUE);
  if (orientation) { unsigned char exif[] = {'E','x','i','f',0,0,'M','M',0,42,0,0,0,8,0,1,1,0x12,0,3,0,0,0,1,0,(unsigned char)orientation,0,0,0,0,0,0};
    jpeg_write_marker(&c, JPEG_APP0 + 1, exif, sizeof exif); }
  unsigned char row[64 * 4];
  while (c.next_scanline < c.image_height) { for (int i = 0; i < w * comps; ++i) row[i] = (unsigned char)(i * 13 + c.next_scanline * 7); JSAMPROW r = row; jpeg_write_scanlines(&c, &r, 1); }
  jpeg_finish_compress(&c); jpeg_destroy_compress(&c); fclose(f);
}
int main(void) {
  write("baseline.jpg", 12, 8, 3, JCS_RGB, 0, 0);
  write("progressive.jpg", 12, 8, 3, JCS_RGB, 1, 0);
  write("turned6.jpg", 12, 8, 3, JCS_RGB, 0, 6);
  write("turned7.jpg", 9, 5, 3, JCS_RGB, 0, 7);
  write("grey.jpg", 9, 9, 1, JCS_GRAYSCALE, 0, 0);
  write("cmyk.jpg", 8, 8, 4, JCS_CMYK, 0, 0);
  return 0;
}
