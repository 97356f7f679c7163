#pragma once
// The sound player is a module of its own, loaded on the first sound: Qt Multimedia brings
// Qt Network and PulseAudio with it (about 3 MB resident and a tenth of the start-up time),
// and a session that never plays a sound should not pay for them.

class QObject;
class QString;

// File name of the module, looked for beside the executable.
inline constexpr const char* kSoundModuleName = "nqsound";
// The one entry point, resolved by name.
inline constexpr const char* kPlaySoundSymbol = "nqPlaySound";

// Plays a sound file once through an effect created as a child of `owner`; the effect deletes
// itself when it has finished or failed.
using PlaySoundFunction = void (*)(QObject* owner, const QString& file);
