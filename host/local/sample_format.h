#pragma once

#include <string>

namespace host::local {

/// Sample formats of SEG-Y by their codes: 1 IBM float, 2 int32, 3 int16, 5 IEEE float, 8 int8.

/// Name of a sample format code.
const char* sampleFormatName(int format);

/// Name of a sample format in job files, and the code of such a name: "ibm", "int32", "int16", "ieee", "int8"; empty,
/// and 0, for others.
std::string sampleFormatKey(int format);
int sampleFormatCode(const std::string& key);

/// Bytes of a sample; 0 for a format that cannot be read.
int sampleBytes(int format);

/// Decodes `count` samples in the byte order of their file: IBM floats exactly where single precision has the value,
/// normalised or not, and infinite beyond its range; integers rounded to nearest. Whether all of them are finite.
bool decodeSamples(int format, bool littleEndian, const unsigned char* in, int count, float* out);

/// Encodes `count` samples as IEEE floats, big endian.
void encodeSamples(const float* in, int count, unsigned char* out);

}  // namespace host::local
