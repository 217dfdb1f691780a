// Painter of the component view, shared by the screen and the printer.
