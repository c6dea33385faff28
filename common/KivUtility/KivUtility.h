// The whole exported interface.
//
// Core containers: owning strings and string lists, the growable byte buffer, the bit stream reader.
#ifndef KIVUTILITY_KIVUTILITY_H
#define KIVUTILITY_KIVUTILITY_H

#include "KivBitStream.h"
#include "KivDynaBuffer.h"
#include "KivExport.h"
#include "KivPlatform.h"
#include "KivString.h"

// Media identification: the format table, one parser a format, and the manager that picks the parser.
#include "KivMediaFormat.h"
#include "MObjASFParser.h"
#include "MObjAviParser.h"
#include "MObjH264Parser.h"
#include "MObjMp3Parser.h"
#include "MObjMpeg4Parser.h"
#include "MObjMpgParser.h"
#include "MObjParser.h"
#include "MObjParserMgr.h"
#include "MObjQTParser.h"
#include "MObjRMParser.h"
#include "MObjUnknownParser.h"

// Splicing: separately encoded files as one continuous stream, and what they must have in common.
#include "KivStreamFacts.h"
#include "MpgConcat.h"

// Management records: the plain structures, lists of them, what packs them into bytes, and a description of
// their layouts.
#include "KivRecordArray.h"
#include "KivRecordCatalog.h"
#include "KivRecords.h"
#include "KivStructWrapper.h"

// Names and texts: subsystems, services, applications and protocols by name, messages and return codes in
// words.
#include "KivNames.h"
#include "KivReturnCodes.h"
#include "KivStrRes.h"

// Events and errors: the poster that carries a server's reports to its console, and the chain of errors that
// led to one.
#include "KivSvrPostMsg.h"
#include "errStack.h"

// Time values, and objects that notify others.
#include "KivTime.h"
#include "KivTrigger.h"

// Threads: what they take and wait for, the threads themselves, and the signals that they send one another.
#include "KivSignal.h"
#include "KivSynchronizeUtil.h"
#include "KivThread.h"

// Host configuration: the registry, the network interfaces, the streaming service beside us, and paths.
#include "KivNetworkInfo.h"
#include "KivPathParser.h"
#include "KivRegistryMgr.h"
#include "KivSdpPublisher.h"

// Addresses and encodings: the URLs of media files, bytes as text.
#include "KivEncoding.h"
#include "KivUrl.h"

#endif
