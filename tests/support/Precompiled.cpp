// SPDX-License-Identifier: Apache-2.0

// Only for the precompiled headers.
