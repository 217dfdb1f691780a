#pragma once
// Placeholder removed once the link layer has sources of its own.
