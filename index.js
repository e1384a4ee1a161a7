'use strict';
// The native exports object as is: its only key is "Main".
module.exports = require('./build/screencapture.node');
