// The recording reader on any bytes: every call read and decoded, or a ClRecordError.
// Built with KXREC_FUZZING, which lets chunks with a wrong checksum through, so that the
// fuzzer reaches what lies behind the checksum.
#include "recorder/RecordFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  try {
    kxrec::ClRecordReader reader(pData, nSize);
    kxrec::ClCallRecord r;
    while (reader.Next(r))
      kxrec::DecodedData(r);
  } catch (const kxrec::ClRecordError&) {
  }
  return 0;
}
