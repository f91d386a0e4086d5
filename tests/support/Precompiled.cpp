// SPDX-License-Identifier: Apache-2.0

// Nothing but the precompiled headers that come with it.
