// Identifiers of the launcher stub's resources.
#pragma once

// The red cross shown for a disabled simulator's executable.
#define IDI_FSX 1
