// The Qt editor.
