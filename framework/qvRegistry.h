#pragma once

// (Being written.)
