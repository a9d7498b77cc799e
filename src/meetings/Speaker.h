// Who spoke: the microphone is "me", the call's audio is "them".
#pragma once

enum class Speaker { me, them };
