#pragma once

// In place of the C library's own, likewise.
