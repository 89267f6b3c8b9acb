/* ORB: the binary interface between an instrument plug-in and its host, version 2.4.
 *
 * A plug-in is a dynamic library with one exported function, OrbPluginMain ("ORBPluginMain", also
 * looked up as "MAIN" and "main"). The host calls it once with its callback; the plug-in answers
 * with an OrbEffect that it owns until opClose, or with null when it can't run. Everything else
 * goes through the functions of that structure.
 *
 * All structures are fixed to the byte on 64-bit systems, integers are little-endian, texts are
 * zero-terminated. Audio is 32-bit float, nominally -1.0 to +1.0, one buffer a channel.
 *
 * Threads: process functions and opProcessEvents come on the audio thread, everything else on the
 * main thread. A plug-in may use the host callback on either.
 */
#ifndef ORB_ORB_H
#define ORB_ORB_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define ORB_ASSERT(condition) static_assert(condition, #condition)
#else
#define ORB_ASSERT(condition) _Static_assert(condition, #condition)
#endif

#if defined(_WIN32)
#define ORB_EXPORT __declspec(dllexport)
#else
#define ORB_EXPORT __attribute__((visibility("default")))
#endif

typedef struct OrbEffect OrbEffect;

/* Both directions have this shape. value is as wide as a pointer. */
typedef int64_t (*OrbDispatcher)(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value,
                                 void* ptr, float opt);
typedef OrbDispatcher OrbHostCallback;

/* inputs and outputs: numInputs and numOutputs pointers to frames floats each. */
typedef void (*OrbProcess)(OrbEffect* effect, float** inputs, float** outputs, int32_t frames);
typedef void (*OrbSetParameter)(OrbEffect* effect, int32_t index, float value); /* 0.0 to 1.0 */
typedef float (*OrbGetParameter)(OrbEffect* effect, int32_t index);

/* The entry point: ORB_EXPORT OrbEffect* ORBPluginMain(OrbHostCallback host); */
typedef OrbEffect* (*OrbPluginEntry)(OrbHostCallback host);

/* ---- the effect ---- */

enum {
  orbMagic = 0x4F524250 /* for OrbEffect::magic; hosts don't look at it */
};

enum OrbEffectFlags {
  orbHasReplacing = 1 << 4, /* processReplacing may be called */
  orbProgramChunks = 1 << 5 /* programs and banks are opaque chunks: opGetChunk, opSetChunk */
};

struct OrbEffect {
  int32_t magic;
  OrbDispatcher dispatcher;
  OrbProcess processAccumulating; /* adds to the outputs */
  OrbSetParameter setParameter;
  OrbGetParameter getParameter;
  int32_t numPrograms;
  int32_t numParams;
  int32_t numInputs;
  int32_t numOutputs;
  int32_t flags; /* OrbEffectFlags */
  uint8_t reserved[52];
  int32_t uniqueId;
  int32_t version;
  OrbProcess processReplacing; /* overwrites the outputs */
};

/* ---- opcodes of OrbEffect::dispatcher ---- */

enum OrbEffectOpcode {
  opOpen = 0,
  opClose = 1,          /* the last call; the effect is gone afterwards */
  opSetProgram = 2,     /* value: program */
  opGetProgram = 3,     /* -> current program */
  opSetProgramName = 4, /* index: program, ptr: text */
  opGetProgramName = 5, /* ptr: 128 bytes; -> negative for none */
  opSetSampleRate = 10, /* opt: rate in Hz */
  opSetBlockSize = 11,  /* value: frames, the most and the usual of one process call */
  opMainsChanged = 12,  /* value: 1 on, 0 off; process is called only while on */
  opEditorGetRect = 13, /* ptr: address of an OrbRect pointer */
  opEditorOpen = 14,    /* ptr: native window to draw in */
  opEditorClose = 15,
  opEditorIdle = 19,
  opGetChunk = 23,      /* index: 0 bank, 1 program; ptr: address of a data pointer; -> bytes */
  opSetChunk = 24,      /* index: 0 bank, 1 program; value: bytes; ptr: data */
  opProcessEvents = 25, /* ptr: OrbEventList, valid until the process call that follows */
  opGetOutputProperties = 34, /* index: output; ptr: OrbOutputProperties; -> nonzero when filled */
  opGetProductString = 48,    /* ptr: 64 bytes; -> 1 when filled */
  opVendorSpecific = 50,      /* index: tag, value: tag; -> 1 when handled */
  opCanDo = 51,               /* ptr: text; -> 1 for yes */
  opIdle = 53,
  opEditorKeyDown = 59, /* index: character, value: key code, opt: modifiers; -> above 0: used */
  opBeginSetProgram = 67,
  opEndSetProgram = 68,
  opBeginLoadBank = 75,   /* ptr: OrbBankInfo; -> -1 refuse, 0 no opinion, 1 accept */
  opBeginLoadProgram = 76 /* ptr: OrbBankInfo; -> as above */
};

/* ---- what a host asks with opVendorSpecific, by tags of four characters ---- */

enum OrbVendorTag {
  orbHostTag = 0x73744341, /* 'stCA', as index; one of the others as value */

  /* Questions, asked when the menus are built; -> 1: the menu gets the entry. */
  orbHasDefaultBank = 0x3F414442, /* '?ADB' */
  orbHasHelp = 0x3F48656C,        /* '?Hel' */
  orbHasAbout = 0x3F41626F,       /* '?Abo' */

  /* What to do when the entry is chosen, opt: 1.0; -> 1 when it was done. */
  orbSaveDefaultBank = 0x53414442, /* 'SADB' */
  orbShowHelp = 0x5348656C,        /* 'SHel' */
  orbShowAbout = 0x5341626F,       /* 'SAbo' */

  orbWheel = 0x57686565 /* 'Whee'; opt: notches, above 0 away from the user; -> 1 */
};

/* ---- opcodes of the host callback ---- */

enum OrbHostOpcode {
  hostVersion = 1,    /* -> 2400 */
  hostWantsMidi = 6,  /* value: nonzero, the plug-in wants MIDI */
  hostGetTime = 7,    /* -> address of the OrbTimeBlock */
  hostNeedsIdle = 14, /* asks for opIdle calls */
  hostAutomationState = 24,
  hostVendorString = 32,  /* ptr: 64 bytes; -> 1 */
  hostProductString = 33, /* ptr: 64 bytes; -> 1 */
  hostVendorVersion = 34,
  hostCanDo = 37, /* ptr: text; -> 1 or 0 */
  hostLanguage = 38,
  hostChunkFile = 48 /* ptr: 2048 bytes; the file now being read or written; -> 1 */
};

/* ---- structures that travel ---- */

enum OrbOutputFlags {
  orbOutputStereo = 1 << 1,     /* first of a stereo pair */
  orbOutputArrangement = 1 << 2 /* the arrangement field is valid */
};

typedef struct OrbOutputProperties {
  char label[64];
  int32_t flags;       /* OrbOutputFlags */
  int32_t arrangement; /* 0 mono, 1 stereo, ... 15 */
  uint8_t reserved[56];
} OrbOutputProperties;

typedef struct OrbBankInfo {
  int32_t formatVersion;
  int32_t pluginId;
  int32_t pluginVersion;
  int32_t count; /* programs of a bank, parameters of a program */
  uint8_t reserved[48];
} OrbBankInfo;

typedef struct OrbRect {
  int16_t top, left, bottom, right;
} OrbRect;

enum OrbTimeFlags {
  orbTransportPlays = 1 << 1,
  orbNanoSecondsValid = 1 << 8,
  orbMusicalPositionValid = 1 << 9,
  orbTempoValid = 1 << 10,
  orbBarStartValid = 1 << 11,
  orbSignatureValid = 1 << 13
};

/* One instance for the process, rewritten before each block without a lock. */
typedef struct OrbTimeBlock {
  double samplePosition;
  double sampleRate;
  double nanoSeconds;
  double musicalPosition;  /* quarter notes */
  double tempo;            /* beats a minute */
  double barStartPosition; /* quarter notes */
  double cycleStart;
  double cycleEnd;
  int32_t signatureNumerator;
  int32_t signatureDenominator;
  int32_t timecodeOffset;
  int32_t timecodeFrameRate;
  int32_t samplesToNextClock;
  int32_t flags; /* OrbTimeFlags */
} OrbTimeBlock;

enum {
  orbEventMidi = 1,
  orbMidiEventBytes = 24,
  orbMaxEvents = 4096,
  orbEventListBytes = 0x20020 /* size of the block that the host hands out as its event list */
};

/* One MIDI message. The whole of a block's events belong to the block's start. */
typedef struct OrbMidiEventRecord {
  int32_t type;     /* orbEventMidi */
  int32_t byteSize; /* orbMidiEventBytes */
  int32_t sampleOffset;
  uint8_t reserved[12];
  uint8_t status;
  uint8_t data1;
  uint8_t data2;
  uint8_t reserved2[5];
} OrbMidiEventRecord;

typedef struct OrbEventList {
  int32_t count;
  int64_t reserved;
  OrbMidiEventRecord* events[orbMaxEvents]; /* count in use; the host's block goes on behind them */
} OrbEventList;

/* ---- what is fixed to the byte ---- */

ORB_ASSERT(offsetof(OrbEffect, dispatcher) == 8);
ORB_ASSERT(offsetof(OrbEffect, processAccumulating) == 16);
ORB_ASSERT(offsetof(OrbEffect, setParameter) == 24);
ORB_ASSERT(offsetof(OrbEffect, getParameter) == 32);
ORB_ASSERT(offsetof(OrbEffect, numPrograms) == 40);
ORB_ASSERT(offsetof(OrbEffect, numParams) == 44);
ORB_ASSERT(offsetof(OrbEffect, numInputs) == 48);
ORB_ASSERT(offsetof(OrbEffect, numOutputs) == 52);
ORB_ASSERT(offsetof(OrbEffect, flags) == 56);
ORB_ASSERT(offsetof(OrbEffect, uniqueId) == 112);
ORB_ASSERT(offsetof(OrbEffect, version) == 116);
ORB_ASSERT(offsetof(OrbEffect, processReplacing) == 120);
ORB_ASSERT(sizeof(OrbEffect) == 128);
ORB_ASSERT(sizeof(OrbOutputProperties) == 128);
ORB_ASSERT(offsetof(OrbOutputProperties, flags) == 64);
ORB_ASSERT(offsetof(OrbOutputProperties, arrangement) == 68);
ORB_ASSERT(sizeof(OrbBankInfo) == 64);
ORB_ASSERT(offsetof(OrbTimeBlock, sampleRate) == 8);
ORB_ASSERT(offsetof(OrbTimeBlock, nanoSeconds) == 16);
ORB_ASSERT(offsetof(OrbTimeBlock, musicalPosition) == 24);
ORB_ASSERT(offsetof(OrbTimeBlock, tempo) == 32);
ORB_ASSERT(offsetof(OrbTimeBlock, barStartPosition) == 40);
ORB_ASSERT(offsetof(OrbTimeBlock, cycleStart) == 48);
ORB_ASSERT(offsetof(OrbTimeBlock, cycleEnd) == 56);
ORB_ASSERT(offsetof(OrbTimeBlock, signatureNumerator) == 64);
ORB_ASSERT(offsetof(OrbTimeBlock, signatureDenominator) == 68);
ORB_ASSERT(offsetof(OrbTimeBlock, timecodeOffset) == 72);
ORB_ASSERT(offsetof(OrbTimeBlock, timecodeFrameRate) == 76);
ORB_ASSERT(offsetof(OrbTimeBlock, samplesToNextClock) == 80);
ORB_ASSERT(offsetof(OrbTimeBlock, flags) == 84);
ORB_ASSERT(offsetof(OrbMidiEventRecord, sampleOffset) == 8);
ORB_ASSERT(offsetof(OrbMidiEventRecord, status) == 24);
ORB_ASSERT(offsetof(OrbMidiEventRecord, data1) == 25);
ORB_ASSERT(offsetof(OrbMidiEventRecord, data2) == 26);
ORB_ASSERT(sizeof(OrbMidiEventRecord) == 32);
ORB_ASSERT(offsetof(OrbEventList, reserved) == 8);
ORB_ASSERT(offsetof(OrbEventList, events) == 16);
ORB_ASSERT(sizeof(OrbEventList) <= orbEventListBytes);

#ifdef __cplusplus
}
#endif

#endif
